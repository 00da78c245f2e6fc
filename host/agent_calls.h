// SPDX-License-Identifier: MIT
// What the agent asks of the platform and the host cannot do: questions to the supervisor. It keeps
// the timers, and sends their expiry as events.
#ifndef HOST_AGENT_CALLS_H
#define HOST_AGENT_CALLS_H

namespace host {

/* What startTimer does on a node; apart from it, so that a desk can have a startTimer of its own.
 */
int askToStartTimer(int seconds, const char *name);

} // namespace host

#endif
