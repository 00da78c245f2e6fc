// SPDX-License-Identifier: MIT
// The host process: start-up of the agent, then one event at a time.
#ifndef HOST_RUN_H
#define HOST_RUN_H

namespace host {

/*
 * The whole run; returns the exit code: 0 once the supervisor closed the channel between two
 * events, 2 for a bad option, 9 for a configuration with mistakes, 1 for any other failure. Every
 * failure is one line on standard error.
 */
int runHost(int argc, char **argv);

} // namespace host

#endif
