// SPDX-License-Identifier: MIT
#include "node/config.h"

#include "base/file_io.h"
#include "base/odd_value.h"
#include "base/text.h"
#include "base/trusted_path.h"
#include "node/bank_device.h"
#include "node/boot_copies.h"
#include "node/config_obstacles.h"
#include "node/config_rows.h"
#include "node/ini_file.h"

#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace node {
namespace {

constexpr std::size_t kMaxConfig = 64 * 1024;
constexpr std::size_t kMostUnknown = 20;       // keys that are named; the others are counted
constexpr const char *kDefaultState = "/otad"; // below the configs directory

// What a command for the shell begins with, where that is a path; more of it only the shell knows.
std::string programOf(const std::string &command) {
    return command.starts_with('/') ? command.substr(0, command.find_first_of(" \t;&|<>()")) : "";
}

// One reading of the file: its entries, the configuration they make, and what is wrong with them.
class Reading {
  public:
    Reading(const std::string &path, const std::string &text, ConfigReader reader)
        : path_(path), reader_(reader) {
        entries_ = parseIni(path, text, mistakes_);
    }

    void takeEntries() {
        warnOfUnknownKeys();
        for (const ConfigRow &row : configRows()) {
            takeRow(row);
        }
        checkTogether();
        if (config_.stateDirectory.empty()) {
            config_.stateDirectory = config_.configsDirectory + kDefaultState;
        }
    }

    void lookAtPlaces() {
        lookAtDirectory("tmp", config_.tmpDirectory);
        const bool hasConfigs = lookAtDirectory("configs", config_.configsDirectory);
        lookAtDirectory("logs", config_.logsDirectory);
        if (isTrusted("service", "state", config_.stateDirectory) &&
            (hasConfigs || findEntry(entries_, "service", "state") != nullptr)) {
            complainUnlessEmpty("service", "state", whyNoStateDirectory(config_.stateDirectory));
        }
        if (hasReferencePlatform()) {
            lookAtBanks();
            lookAtBootState();
            isTrusted("trial", "health_command", programOf(config_.healthCommand));
            lookAtFile("images", "signer_ca", config_.signerAuthority);
        }
        lookAtFile("service", "platform", config_.platform);
        // The one for downloads may still be to come.
        if (isTrusted("paths", "ca_certificate", config_.caCertificate) &&
            access(config_.caCertificate.c_str(), F_OK) == 0) {
            lookAtFile("paths", "ca_certificate", config_.caCertificate);
        }
        lookAtFile("root", "ca_certificate", config_.rootCaCertificate);
        lookAtFile("root", "certificate", config_.rootCertificate);
        lookAtFile("root", "key", config_.rootKey, base::whyNoPrivateKey);
    }

    // Of places with other mistakes there is nothing more to say.
    void lookForObstacles() {
        if (!mistakes_.empty()) {
            return;
        }
        if (access(config_.caCertificate.c_str(), F_OK) == 0) {
            complainUnlessEmpty("paths", "ca_certificate",
                                whyNoCertificates(config_.caCertificate));
        }
        if (!hasReferencePlatform()) {
            return;
        }
        const BootPlace &place = config_.bootState;
        complainUnlessEmpty("banks", place.file.empty() ? "fw_env_config" : "boot_state",
                            whyNoBootState(place));
        if (const std::string program = programOf(config_.healthCommand); !program.empty()) {
            complainUnlessEmpty("trial", "health_command", whyNoProgram(program));
        }
        if (!config_.signerAuthority.empty()) {
            complainUnlessEmpty("images", "signer_ca", whyNoCertificates(config_.signerAuthority));
        }
    }

    const Config &config() const { return config_; }
    const std::vector<std::string> &mistakes() const { return mistakes_; }
    const std::vector<std::string> &warnings() const { return warnings_; }

  private:
    void warnOfUnknownKeys() {
        std::size_t count = 0;
        for (const IniEntry &entry : entries_) {
            if (findConfigRow(entry.section, entry.key) == nullptr && ++count <= kMostUnknown) {
                warnings_.push_back(atLine(path_, entry.line) + unknown(entry));
            }
        }
        if (count > kMostUnknown) {
            warnings_.push_back(path_ + ": and " + std::to_string(count - kMostUnknown) +
                                " more, which are not known and have no effect");
        }
    }

    // It may be of a later release, or mistyped; what it was meant to say is not in force.
    static std::string unknown(const IniEntry &entry) {
        std::vector<std::string> known;
        for (const ConfigRow &row : configRows()) {
            known.push_back(nameOf(row.section, row.key));
        }
        const std::string name = nameOf(entry.section, entry.key);
        return name + " is not known and has no effect" + base::didYouMean(name, known);
    }

    void takeRow(const ConfigRow &row) {
        const IniEntry *const entry = findEntry(entries_, row.section, row.key);
        if (entry != nullptr) {
            if (const auto taken = takeValue(row, entry->value, config_); !taken) {
                mistakes_.push_back(atLine(path_, entry->line) + taken.error().text);
                bankRefused_ = bankRefused_ || std::string_view(row.section) == "banks";
            } else if (const std::string odd = base::oddValue(row.key, entry->value);
                       !odd.empty()) {
                warnings_.push_back(atLine(path_, entry->line) + nameOf(row.section, row.key) +
                                    " " + odd);
            }
        } else if (row.required &&
                   (hasReferencePlatform() || std::string_view(row.section) != "banks")) {
            complain(row.section, row.key, std::string("is missing: expected ") + row.expected);
        }
    }

    // A platform of another maker keeps its banks as it likes.
    bool hasReferencePlatform() const {
        return reader_ == ConfigReader::platform ||
               findEntry(entries_, "service", "platform") == nullptr;
    }

    void checkTogether() {
        if (hasReferencePlatform()) {
            checkBootState();
            checkSignature();
        }
        checkRoot();
    }

    void checkBootState() {
        const BootPlace &place = config_.bootState;
        if (place.file.empty() == place.fwEnvConfig.empty()) {
            complain("banks", "boot_state",
                     place.file.empty() ? "is missing: expected it, or fw_env_config"
                                        : "stands beside fw_env_config: expected one of the two");
        }
        // A boot loader that fell back and could not save it would be taken at its old word.
        if (!place.fwEnvConfig.empty() && place.kernelCommandLine.empty()) {
            complain("banks", "kernel_command_line",
                     "is missing beside fw_env_config: expected /proc/cmdline, where the boot "
                     "loader says ota.bank=a or b");
        }
    }

    void checkSignature() {
        if (config_.signatureRequired && config_.signerAuthority.empty()) {
            complain("images", "signer_ca",
                     "is missing: expected the file of the authority whose signers this node "
                     "trusts, or signature = optional to take unsigned images");
        }
    }

    void checkRoot() {
        const auto given = [&](const char *key) {
            return findEntry(entries_, "root", key) != nullptr;
        };
        if (given("broker") && !given("ca_certificate")) {
            complain("root", "broker",
                     "needs ca_certificate: expected the file of the authority that signed the "
                     "broker's certificate");
        }
        if (given("certificate") != given("key")) {
            complain("root", given("key") ? "key" : "certificate",
                     "stands alone: expected certificate and key together, or neither");
        }
        for (const char *key : {"ca_certificate", "certificate", "key", "topic"}) {
            if (given(key) && !given("broker")) {
                complain("root", key, "has no broker to go with: expected [root] broker");
            }
        }
    }

    // Nobody but root may decide what a root process reads, runs and writes there. What several
    // paths lead through is told with the first of them.
    bool isTrusted(const char *section, const char *key, const std::string &path,
                   std::string (*judge)(const std::string &) = base::whyNotTrusted) {
        const std::string flaw = path.empty() ? "" : judge(path);
        if (!flaw.empty() && flaws_.insert(flaw).second) {
            complain(section, key, "cannot be trusted: " + flaw);
        }
        return flaw.empty();
    }

    void lookAtBanks() {
        const bool a = isTrusted("banks", "a", config_.bankPath(Bank::a));
        const bool b = isTrusted("banks", "b", config_.bankPath(Bank::b));
        // Of values that were refused already there is nothing more to say.
        if (a && b && !bankRefused_) {
            for (const BankMistake &mistake : bankMistakes(config_)) {
                complain("banks", mistake.key, mistake.text);
            }
        }
    }

    void lookAtBootState() {
        const BootPlace &place = config_.bootState;
        isTrusted("banks", "boot_state", place.file, base::whyNoTrustedFile);
        lookAtFile("banks", "kernel_command_line", place.kernelCommandLine);
        if (!lookAtFile("banks", "fw_env_config", place.fwEnvConfig) || place.fwEnvConfig.empty()) {
            return;
        }
        std::vector<BootCopy> copies;
        static_cast<void>(bootCopies(place, copies)); // whoever reads them says what is wrong
        for (const BootCopy &copy : copies) {
            isTrusted("banks", "fw_env_config", copy.path);
        }
    }

    bool lookAtDirectory(const char *key, const std::string &path) {
        struct stat status {};
        if (path.empty() || !isTrusted("paths", key, path)) {
            return false;
        }
        if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
            complain("paths", key,
                     "names no directory: there is none at " + path + "; make it or name another");
            return false;
        }
        return true;
    }

    bool lookAtFile(const char *section, const char *key, const std::string &path,
                    std::string (*judge)(const std::string &) = base::whyNotTrusted) {
        if (path.empty() || !isTrusted(section, key, path, judge)) {
            return path.empty();
        }
        if (access(path.c_str(), R_OK) != 0) {
            complain(section, key,
                     base::systemReason("names a file that cannot be read, " + path) +
                         "; put it there or name another");
            return false;
        }
        return true;
    }

    void complainUnlessEmpty(const char *section, const char *key, const std::string &what) {
        if (!what.empty()) {
            complain(section, key, what);
        }
    }

    void complain(const char *section, const char *key, const std::string &what) {
        const IniEntry *const entry = findEntry(entries_, section, key);
        const std::string place = entry == nullptr ? path_ + ": " : atLine(path_, entry->line);
        mistakes_.push_back(place + nameOf(section, key) + " " + what);
    }

    const std::string &path_;
    ConfigReader reader_;
    std::vector<IniEntry> entries_;
    Config config_;
    std::vector<std::string> mistakes_;
    std::set<std::string> flaws_; // of paths that cannot be trusted, as they were told
    std::vector<std::string> warnings_;
    bool bankRefused_ = false;
};

enum class Depth { toStart, toUpgrade };

std::vector<std::string> check(const std::string &path, ConfigReader reader, Depth depth,
                               Config &config, std::vector<std::string> *warnings) {
    // Before it is opened: one of another user may be a pipe that nobody writes to.
    if (const std::string flaw = base::whyNotTrusted(path); !flaw.empty()) {
        return {path + ": the configuration cannot be trusted: " + flaw};
    }
    const auto text = readConfigText(path);
    if (!text) {
        return {text.error().text + "; give a configuration made after node.conf.example"};
    }
    Reading reading(path, *text, reader);
    reading.takeEntries();
    reading.lookAtPlaces();
    if (depth == Depth::toUpgrade) {
        reading.lookForObstacles();
    }
    if (warnings != nullptr) {
        *warnings = reading.warnings();
    }
    if (reading.mistakes().empty()) {
        config = reading.config();
    }
    return reading.mistakes();
}

} // namespace

std::string Config::lockPath() const {
    return (bootState.file.empty() ? configsDirectory + "/boot_state" : bootState.file) + ".lock";
}

base::Result<std::string> readConfigText(const std::string &path) {
    return base::readWholeFile(path, kMaxConfig);
}

base::Result<Config> parseConfig(const std::string &path, const std::string &text) {
    Reading reading(path, text, ConfigReader::service);
    reading.takeEntries();
    if (!reading.mistakes().empty()) {
        return base::Error{reading.mistakes().front()};
    }
    return reading.config();
}

base::Result<Config> checkConfigFile(const std::string &path, ConfigReader reader) {
    Config config;
    const std::vector<std::string> mistakes = check(path, reader, Depth::toStart, config, nullptr);
    if (!mistakes.empty()) {
        return base::Error{mistakes.front()};
    }
    return config;
}

std::vector<std::string> configMistakes(const std::string &path,
                                        std::vector<std::string> *warnings) {
    Config unused;
    return check(path, ConfigReader::service, Depth::toUpgrade, unused, warnings);
}

} // namespace node
