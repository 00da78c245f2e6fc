// SPDX-License-Identifier: MIT
// What the agent writes into the logs directory holds URLs: not for everybody.
#ifndef HOST_LOG_FILES_H
#define HOST_LOG_FILES_H

namespace host {

/*
 * The agent's debug log is there, and neither it nor the activation mark is open to others than
 * this user and its group. The agent itself would leave that to the umask, which its files for the
 * mobile app need as it is. Call it before the agent; what cannot be closed is told in one line.
 */
void closeLogFiles();

} // namespace host

#endif
