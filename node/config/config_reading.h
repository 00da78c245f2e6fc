// SPDX-License-Identifier: MIT
// One reading of the configuration file: the configuration it makes, and what is wrong with it.
#ifndef NODE_CONFIG_CONFIG_READING_H
#define NODE_CONFIG_CONFIG_READING_H

#include "base/result.h"
#include "base/trusted_path.h"
#include "node/config/config.h"
#include "node/config/ini_file.h"

#include <set>
#include <string>
#include <vector>

namespace node {

struct ConfigRow;

/*
 * For whom the configuration is read. Where it names a platform, [banks], [trial] and [images] are
 * that one's own business: the service does not demand them.
 */
enum class ConfigReader { service, platform };

class ConfigReading {
  public:
    /* Takes the entries of the text; nothing that they name is looked at. */
    ConfigReading(std::string path, const std::string &text, ConfigReader reader);

    /* Looks at what the service itself needs: directories, certificates, its platform. */
    void lookAtPlaces();

    /* One who looks at more adds what is wrong: "<file>:<line>: [section] key <what>". */
    void complain(const char *section, const char *key, const std::string &what);
    void complainUnlessEmpty(const char *section, const char *key, const std::string &what);
    /*
     * Complains where a root process must not follow the path. What several paths lead through is
     * told with the first of them.
     */
    bool isTrusted(const char *section, const char *key, const std::string &path,
                   std::string (*judge)(const std::string &) = base::whyNotTrusted);
    /* True also for an empty path. */
    bool lookAtFile(const char *section, const char *key, const std::string &path,
                    std::string (*judge)(const std::string &) = base::whyNotTrusted);

    /* Not whole where there are mistakes. */
    const Config &config() const { return config_; }
    /* The file leaves banks, trial and images to the reference platform, or that one reads. */
    bool hasReferencePlatform() const;
    /* A value of [banks] was refused already. */
    bool bankRefused() const { return bankRefused_; }
    /* One line each. */
    const std::vector<std::string> &mistakes() const { return mistakes_; }
    /*
     * A line for each value that is probably not meant, for each of the first twenty keys that are
     * not known, and one for the others. That is no mistake: a configuration outlives releases of
     * the service in both directions.
     */
    const std::vector<std::string> &warnings() const { return warnings_; }

  private:
    void warnOfUnknownKeys();
    void takeRow(const ConfigRow &row);
    void checkTogether();
    void checkBootState();
    void checkSignature();
    void checkRoot();
    bool lookAtDirectory(const char *key, const std::string &path);

    std::string path_;
    ConfigReader reader_;
    std::vector<IniEntry> entries_;
    Config config_;
    std::vector<std::string> mistakes_;
    std::set<std::string> flaws_; // of paths that cannot be trusted, as they were told
    std::vector<std::string> warnings_;
    bool bankRefused_ = false;
};

/* Error: the file cannot be trusted or read, and what to do. Takes no lock and changes nothing. */
base::Result<ConfigReading> readConfig(const std::string &path,
                                       ConfigReader reader = ConfigReader::service);

} // namespace node

#endif
