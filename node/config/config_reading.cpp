// SPDX-License-Identifier: MIT
#include "node/config/config_reading.h"

#include "base/file_io.h"
#include "base/odd_value.h"
#include "base/text.h"
#include "node/config/config_rows.h"

#include <sys/stat.h>
#include <unistd.h>

namespace node {
namespace {

constexpr std::size_t kMostUnknown = 20;       // keys that are named; the others are counted
constexpr const char *kDefaultState = "/otad"; // below the configs directory

// It may be of a later release, or mistyped; what it was meant to say is not in force.
std::string unknown(const IniEntry &entry) {
    std::vector<std::string> known;
    for (const ConfigRow &row : configRows()) {
        known.push_back(nameOf(row.section, row.key));
    }
    const std::string name = nameOf(entry.section, entry.key);
    return name + " is not known and has no effect" + base::didYouMean(name, known);
}

bool isDirectory(const std::string &path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string parentOf(const std::string &path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// The service makes the directory itself, but none above it.
std::string whyNoStateDirectory(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        return S_ISDIR(status.st_mode)
                   ? ""
                   : "names no directory: " + path + " is a file; remove it or name another";
    }
    const std::string above = parentOf(path);
    return isDirectory(above)
               ? ""
               : "cannot be made: there is no directory " + above + "; make that or name another";
}

} // namespace

ConfigReading::ConfigReading(std::string path, const std::string &text, ConfigReader reader)
    : path_(std::move(path)), reader_(reader) {
    entries_ = parseIni(path_, text, mistakes_);
    warnOfUnknownKeys();
    for (const ConfigRow &row : configRows()) {
        takeRow(row);
    }
    checkTogether();
    if (config_.stateDirectory.empty()) {
        config_.stateDirectory = config_.configsDirectory + kDefaultState;
    }
}

void ConfigReading::warnOfUnknownKeys() {
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

void ConfigReading::takeRow(const ConfigRow &row) {
    const IniEntry *const entry = findEntry(entries_, row.section, row.key);
    if (entry != nullptr) {
        if (const auto taken = takeValue(row, entry->value, config_); !taken) {
            mistakes_.push_back(atLine(path_, entry->line) + taken.error().text);
            bankRefused_ = bankRefused_ || std::string_view(row.section) == "banks";
        } else if (const std::string odd = base::oddValue(row.key, entry->value); !odd.empty()) {
            warnings_.push_back(atLine(path_, entry->line) + nameOf(row.section, row.key) + " " +
                                odd);
        }
    } else if (row.required &&
               (hasReferencePlatform() || std::string_view(row.section) != "banks")) {
        complain(row.section, row.key, std::string("is missing: expected ") + row.expected);
    }
}

// A platform of another maker keeps its banks as it likes.
bool ConfigReading::hasReferencePlatform() const {
    return reader_ == ConfigReader::platform ||
           findEntry(entries_, "service", "platform") == nullptr;
}

void ConfigReading::checkTogether() {
    if (hasReferencePlatform()) {
        checkBootState();
        checkSignature();
    }
    checkRoot();
}

void ConfigReading::checkBootState() {
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

void ConfigReading::checkSignature() {
    if (config_.signatureRequired && config_.signerAuthority.empty()) {
        complain("images", "signer_ca",
                 "is missing: expected the file of the authority whose signers this node "
                 "trusts, or signature = optional to take unsigned images");
    }
}

void ConfigReading::checkRoot() {
    const auto given = [&](const char *key) { return findEntry(entries_, "root", key) != nullptr; };
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

void ConfigReading::lookAtPlaces() {
    lookAtDirectory("tmp", config_.tmpDirectory);
    const bool hasConfigs = lookAtDirectory("configs", config_.configsDirectory);
    lookAtDirectory("logs", config_.logsDirectory);
    if (isTrusted("service", "state", config_.stateDirectory) &&
        (hasConfigs || findEntry(entries_, "service", "state") != nullptr)) {
        complainUnlessEmpty("service", "state", whyNoStateDirectory(config_.stateDirectory));
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

// Nobody but root may decide what a root process reads, runs and writes there. What several
// paths lead through is told with the first of them.
bool ConfigReading::isTrusted(const char *section, const char *key, const std::string &path,
                              std::string (*judge)(const std::string &)) {
    const std::string flaw = path.empty() ? "" : judge(path);
    if (!flaw.empty() && flaws_.insert(flaw).second) {
        complain(section, key, "cannot be trusted: " + flaw);
    }
    return flaw.empty();
}

bool ConfigReading::lookAtDirectory(const char *key, const std::string &path) {
    if (path.empty() || !isTrusted("paths", key, path)) {
        return false;
    }
    if (!isDirectory(path)) {
        complain("paths", key,
                 "names no directory: there is none at " + path + "; make it or name another");
        return false;
    }
    return true;
}

bool ConfigReading::lookAtFile(const char *section, const char *key, const std::string &path,
                               std::string (*judge)(const std::string &)) {
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

void ConfigReading::complainUnlessEmpty(const char *section, const char *key,
                                        const std::string &what) {
    if (!what.empty()) {
        complain(section, key, what);
    }
}

void ConfigReading::complain(const char *section, const char *key, const std::string &what) {
    const IniEntry *const entry = findEntry(entries_, section, key);
    const std::string place = entry == nullptr ? path_ + ": " : atLine(path_, entry->line);
    mistakes_.push_back(place + nameOf(section, key) + " " + what);
}

base::Result<ConfigReading> readConfig(const std::string &path, ConfigReader reader) {
    // Before it is opened: one of another user may be a pipe that nobody writes to.
    if (const std::string flaw = base::whyNotTrusted(path); !flaw.empty()) {
        return base::Error{path + ": the configuration cannot be trusted: " + flaw};
    }
    const auto text = readConfigText(path);
    if (!text) {
        return base::Error{text.error().text +
                           "; give a configuration made after node.conf.example"};
    }
    return ConfigReading(path, *text, reader);
}

} // namespace node
