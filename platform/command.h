// SPDX-License-Identifier: MIT
// A command of the configuration, run by the shell within a time limit.
#ifndef PLATFORM_COMMAND_H
#define PLATFORM_COMMAND_H

#include "base/result.h"

#include <chrono>
#include <string>

namespace platform {

/*
 * Runs it with /bin/sh in a process group of its own and waits for it; its output goes where this
 * process's goes, its input is empty. At its end or the limit the group is killed. When this
 * process dies, only the shell is: what it started in the background may outlive it. Error: it
 * did not end with 0; its line begins with `what`.
 */
base::Result<void> runCommand(const std::string &what, const std::string &command,
                              std::chrono::seconds limit);

} // namespace platform

#endif
