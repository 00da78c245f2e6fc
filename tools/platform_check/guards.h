// SPDX-License-Identifier: MIT
// Nothing that a platform does reaches the machine's reboot.
#ifndef TOOLS_PLATFORM_CHECK_GUARDS_H
#define TOOLS_PLATFORM_CHECK_GUARDS_H

#include <cstdint>
#include <string>
#include <sys/types.h>

namespace check {

constexpr int kAskedForReboot = 111; // exit code of the process that runs the platform

/* Keeps how it was asked for and ends the process. */
[[noreturn]] void refuseReboot(const std::string &how);

/* Another program is to be run: keeps which, and refuses one that brings the machine down. */
void look(const char *way, const char *program, char *const *words);

/*
 * For this process and all that it starts, for good: a call to the kernel that reboots, loads
 * another kernel, or signals init or the checking process ends the caller. Without `commands` no
 * program can be started at all. False: errno says why.
 */
bool lockDown(bool commands, pid_t checker);

/* In a mount namespace of this process's own the programs that bring a machine down are empty, and
 * the sockets over which systemd is told to are none. False: errno says why. */
bool coverWaysDown();

/* From now on this process ends in order where it is told to. */
void takeInterruptions();
/* In a process of a platform: as if nothing were taken. */
void leaveInterruptions();
bool isInterrupted();

/* Steady. */
std::int64_t nowMs();

} // namespace check

#endif
