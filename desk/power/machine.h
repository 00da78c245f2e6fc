// SPDX-License-Identifier: MIT
// What differs from one kind of processor to the next: its name in a filter, and its registers.
#ifndef DESK_POWER_MACHINE_H
#define DESK_POWER_MACHINE_H

#include <cstdint>
#include <sys/types.h>

namespace power {

// As a seccomp filter is told it.
extern const std::uint32_t kMachine;

// At the entry of a call: it does not happen. False: errno says why.
bool skipCall(pid_t thread);
// At its exit: what it comes back with; a negative error number, or 0 and above.
bool setResult(pid_t thread, std::int64_t result);

} // namespace power

#endif
