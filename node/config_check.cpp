// SPDX-License-Identifier: MIT
#include "node/config_check.h"

#include "node/bank_device.h"
#include "node/boot_copies.h"
#include "node/config_obstacles.h"

#include <algorithm>
#include <iterator>
#include <unistd.h>

namespace node {
namespace {

// What a command for the shell begins with, where that is a path; more of it only the shell knows.
std::string programOf(const std::string &command) {
    return command.starts_with('/') ? command.substr(0, command.find_first_of(" \t;&|<>()")) : "";
}

void lookAtBanks(ConfigReading &reading) {
    const Config &config = reading.config();
    const bool a = reading.isTrusted("banks", "a", config.bankPath(Bank::a));
    const bool b = reading.isTrusted("banks", "b", config.bankPath(Bank::b));
    // Of values that were refused already there is nothing more to say.
    if (a && b && !reading.bankRefused()) {
        for (const BankMistake &mistake : bankMistakes(config)) {
            reading.complain("banks", mistake.key, mistake.text);
        }
    }
}

void lookAtBootState(ConfigReading &reading) {
    const BootPlace &place = reading.config().bootState;
    reading.isTrusted("banks", "boot_state", place.file, base::whyNoTrustedFile);
    reading.lookAtFile("banks", "kernel_command_line", place.kernelCommandLine);
    if (!reading.lookAtFile("banks", "fw_env_config", place.fwEnvConfig) ||
        place.fwEnvConfig.empty()) {
        return;
    }
    std::vector<BootCopy> copies;
    static_cast<void>(bootCopies(place, copies)); // whoever reads them says what is wrong
    for (const BootCopy &copy : copies) {
        reading.isTrusted("banks", "fw_env_config", copy.path);
    }
}

void lookAtPlatformsPlaces(ConfigReading &reading) {
    if (!reading.hasReferencePlatform()) {
        return;
    }
    lookAtBanks(reading);
    lookAtBootState(reading);
    reading.isTrusted("trial", "health_command", programOf(reading.config().healthCommand));
    reading.lookAtFile("images", "signer_ca", reading.config().signerAuthority);
}

void lookAtCertificates(ConfigReading &reading, const char *section, const char *key,
                        const std::string &path) {
    if (!path.empty() && access(path.c_str(), F_OK) == 0) {
        reading.complainUnlessEmpty(section, key, whyNoCertificates(path));
    }
}

void lookForObstacles(ConfigReading &reading) {
    const Config &config = reading.config();
    lookAtCertificates(reading, "paths", "ca_certificate", config.caCertificate);
    if (!reading.hasReferencePlatform()) {
        return;
    }
    const BootPlace &place = config.bootState;
    reading.complainUnlessEmpty("banks", place.file.empty() ? "fw_env_config" : "boot_state",
                                whyNoBootState(place));
    if (const std::string program = programOf(config.healthCommand); !program.empty()) {
        reading.complainUnlessEmpty("trial", "health_command", whyNoProgram(program));
    }
    lookAtCertificates(reading, "images", "signer_ca", config.signerAuthority);
}

} // namespace

base::Result<Config> checkConfigFile(const std::string &path, ConfigReader reader) {
    auto reading = readConfig(path, reader);
    if (!reading) {
        return reading.error();
    }
    reading->lookAtPlaces();
    lookAtPlatformsPlaces(*reading);
    if (!reading->mistakes().empty()) {
        return base::Error{reading->mistakes().front()};
    }
    return reading->config();
}

std::vector<std::string> configMistakes(const std::string &path,
                                        std::vector<std::string> *warnings) {
    auto reading = readConfig(path);
    if (!reading) {
        return {reading.error().text};
    }
    reading->lookAtPlaces();
    lookAtPlatformsPlaces(*reading);
    // Of places with other mistakes there is nothing more to say.
    if (reading->mistakes().empty()) {
        lookForObstacles(*reading);
    }
    if (warnings != nullptr) {
        *warnings = reading->warnings();
    }
    return reading->mistakes();
}

base::ConfigFindings platformFindings(const std::string &path) {
    auto service = readConfig(path);
    auto reading = readConfig(path, ConfigReader::platform);
    if (!service || !reading) {
        return {};
    }
    service->lookAtPlaces();
    reading->lookAtPlaces();
    lookAtPlatformsPlaces(*reading);
    const bool starts = reading->mistakes().empty();
    if (starts) {
        lookForObstacles(*reading);
    }
    const std::vector<std::string> &told = service->mistakes();
    std::vector<std::string> own;
    std::copy_if(reading->mistakes().begin(), reading->mistakes().end(), std::back_inserter(own),
                 [&](const std::string &line) {
                     return std::find(told.begin(), told.end(), line) == told.end();
                 });
    return starts ? base::ConfigFindings{{}, own, {}} : base::ConfigFindings{own, {}, {}};
}

} // namespace node
