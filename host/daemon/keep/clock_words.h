// SPDX-License-Identifier: MIT
// Moments as an operator reads them.
#ifndef HOST_DAEMON_KEEP_CLOCK_WORDS_H
#define HOST_DAEMON_KEEP_CLOCK_WORDS_H

#include <ctime>
#include <string>

namespace otad {

/* "hh:mm:ss" on the node's local clock; empty where it has none. */
std::string timeOfDay(std::time_t moment);

} // namespace otad

#endif
