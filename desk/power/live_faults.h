// SPDX-License-Identifier: MIT
// Faults of a disk that come and go while the node runs: a file says which there are just now.
#ifndef DESK_POWER_LIVE_FAULTS_H
#define DESK_POWER_LIVE_FAULTS_H

#include "desk/power/survival.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace power {

// Where the real disk would do as it is told, this one does not.
struct Faults {
    std::vector<std::filesystem::path> lying;     // a sync of it does nothing, and succeeds
    std::vector<std::filesystem::path> corrupted; // each write to it changes one bit more
    bool readOnly = false;
    std::optional<std::uint64_t> cutAfter; // calls from when this was asked for, from 1
    CutMode mode = CutMode::drop;
    std::string cutName; // another one is asked for anew
};

// Lines "read-only", "lie FILE", "corrupt FILE", "cut N drop|tear NAME"; files by their paths on
// the disk. Throws a Failure where a line is none of them.
Faults readFaults(const std::string &text, const std::filesystem::path &disk);

// Whoever changes the file puts a new one in its place.
class FaultsFile {
  public:
    explicit FaultsFile(std::string path) : path_(std::move(path)) {}

    // Its text where it changed since the last question.
    std::optional<std::string> changed();

  private:
    std::string path_;
    struct stat seen_ {};
};

} // namespace power

#endif
