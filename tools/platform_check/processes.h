// SPDX-License-Identifier: MIT
// Processes of others that this one looks after.
#ifndef TOOLS_PLATFORM_CHECK_PROCESSES_H
#define TOOLS_PLATFORM_CHECK_PROCESSES_H

#include <string>
#include <sys/types.h>
#include <vector>

namespace check {

std::vector<pid_t> childrenOfThis();

struct Followed {
    int calls = 0; // that change or sync a disk
    bool killed = false;
    bool inTime = true;
    int status = 0; // of the process, where it was not killed
};

/* Follows a process that stopped itself to be traced, and all that it starts; kills them all at the
 * call of this number, before it takes effect. Returns once they have ended. */
Followed followUntil(pid_t child, int point, int seconds);

/* Runs a command of the operator's with /bin/sh, the words behind it as "$1" and so on; throws a
 * Failure where it does not end with 0. */
void runCommand(const std::string &command, const std::vector<std::string> &words = {});

} // namespace check

#endif
