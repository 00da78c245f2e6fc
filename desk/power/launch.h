// SPDX-License-Identifier: MIT
// Starts a program so that it, and all that it starts, is traced from its first call on.
#ifndef DESK_POWER_LAUNCH_H
#define DESK_POWER_LAUNCH_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace power {

// Whatever ends this process ends the program and all that it started. Signals that ask this
// process to end go on to the program; SIGPWR kills it at once. Throws a Failure where it may not
// be traced.
pid_t launchTraced(const std::vector<std::string> &program);
// The signal was there.
bool powerCutIsAsked();

} // namespace power

#endif
