// SPDX-License-Identifier: MIT
// The command line of ota-power.
#ifndef DESK_POWER_OPTIONS_H
#define DESK_POWER_OPTIONS_H

#include "desk/power/survival.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace power {

struct Options {
    std::filesystem::path disk;
    std::vector<std::filesystem::path> ram;
    std::optional<std::uint64_t> cutAt; // number of the call that the power goes at, from 1
    CutMode mode = CutMode::drop;
    std::uint64_t seed = kSeedAllButLast;
    int failWith = 0; // error number; 0: no call fails
    std::optional<std::uint64_t> failAt;
    std::optional<std::uint64_t> failFrom;
    std::vector<std::filesystem::path> lying;
    std::vector<std::filesystem::path> corrupted;
    std::string countFile;   // empty: none
    std::string journalFile; // empty: none
    std::string faultsFile;  // empty: none
    std::string lossesFile;  // empty: none
    std::vector<std::string> program;
};

// Ends the process where help was asked for, or the command line is wrong (one line, exit code 2).
Options readOptions(int argc, char **argv);

} // namespace power

#endif
