// SPDX-License-Identifier: MIT
// What the service's processes take of the memory.
#ifndef REPORT_PROCESS_MEMORY_H
#define REPORT_PROCESS_MEMORY_H

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace report {

struct ProcessMemory {
    std::string name;
    std::uint64_t residentBytes = 0;
    std::uint64_t peakBytes = 0; // the most that were resident
};

/* Of the process and of those that it started, as far as this user may look; of nobody else's.
 * Empty: nothing is known of them. */
std::vector<ProcessMemory> memoryOf(pid_t process);

} // namespace report

#endif
