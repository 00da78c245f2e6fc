// SPDX-License-Identifier: MIT
// A command of the configuration, run by the shell within a time limit.
#ifndef PLATFORM_NAL_COMMAND_H
#define PLATFORM_NAL_COMMAND_H

#include <chrono>
#include <string>

namespace nal {

/*
 * Runs it with /bin/sh in a process group of its own and waits for it; its output goes where this
 * process's goes, its input is empty. At the limit, or when this process dies, the group is killed.
 * True: it ended with 0. False: whatIsWrong is one line that begins with `what`.
 */
bool runCommand(const std::string &what, const std::string &command, std::chrono::seconds limit,
                std::string &whatIsWrong);

} // namespace nal

#endif
