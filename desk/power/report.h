// SPDX-License-Identifier: MIT
// The number of each call that changes the disk, and for a person, a journal of them.
#ifndef DESK_POWER_REPORT_H
#define DESK_POWER_REPORT_H

#include "desk/power/watch.h"

#include <cstdint>
#include <fstream>
#include <string>

namespace power {

class Report {
  public:
    // Empty names: none. Throws a Failure where the journal cannot be made.
    Report(std::string countFile, const std::string &journalFile);

    // Returns its number, from 1.
    std::uint64_t count(const Tracee &tracee, const Call &call, const Effect &effect);
    // The line of the last call that was counted.
    [[nodiscard]] const std::string &lastLine() const { return lastLine_; }
    // Throws a Failure where the number cannot be written down.
    void close();

  private:
    std::string countFile_;
    std::ofstream journal_;
    std::uint64_t count_ = 0;
    std::string lastLine_;
};

} // namespace power

#endif
