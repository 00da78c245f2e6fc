// SPDX-License-Identifier: MIT
// Timers as questions to the supervisor, which keeps them and sends their expiry as events.
#ifndef HOST_TIMERS_H
#define HOST_TIMERS_H

namespace host {

/* What startTimer does on a node; apart from it, so that a desk can have a startTimer of its own.
 */
int askToStartTimer(int seconds, const char *name);

} // namespace host

#endif
