// SPDX-License-Identifier: MIT
// The configuration manager's socket, which the agent waits for and does not look at.
#ifndef HOST_MANAGER_SOCKET_H
#define HOST_MANAGER_SOCKET_H

#include "base/channel.h"

#include <string>

namespace host {

/*
 * Waits until a socket of root's or of this process's user is at the path. Where it must wait, the
 * note "waits-for" and a line on standard error say for what, and again whenever something else is
 * found there. Ends the process with 0 where the supervisor ends meanwhile.
 */
void awaitManagerSocket(const base::Channel &supervisor, const std::string &path);

} // namespace host

#endif
