// SPDX-License-Identifier: MIT
// The node's configuration file, checked.
#ifndef PLATFORM_NAL_CONFIG_H
#define PLATFORM_NAL_CONFIG_H

#include "platform/nal/boot_state.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace nal {

struct Config {
    std::string model;
    std::string serial;
    std::string workMode;
    std::string workRole;
    int onboarding = 0;
    std::string preferredActivationTime;

    std::string tmpDirectory;
    std::string configsDirectory;
    std::string logsDirectory;
    std::string caCertificate;

    std::array<std::string, 2> bankPaths;
    std::uint64_t bankSize = 0; // 0: not given
    std::string bootStatePath;

    const std::string &bankPath(Bank bank) const {
        return bankPaths.at(static_cast<std::size_t>(bank));
    }
};

/* Reads the bytes of the file. False: whatIsWrong is one line naming it. */
bool readConfigText(const std::string &path, std::string &text, std::string &whatIsWrong);

/*
 * Fills the configuration from the text. False: the configuration is untouched and whatIsWrong
 * is one line with the file, the line where there is one, and what was expected.
 */
bool parseConfig(const std::string &path, const std::string &text, Config &config,
                 std::string &whatIsWrong);

} // namespace nal

#endif
