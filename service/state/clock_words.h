// SPDX-License-Identifier: MIT
// Moments as an operator reads them.
#ifndef SERVICE_STATE_CLOCK_WORDS_H
#define SERVICE_STATE_CLOCK_WORDS_H

#include <ctime>
#include <string>

namespace service {

/* "hh:mm:ss" on the node's local clock; empty where it has none. */
std::string timeOfDay(std::time_t moment);

} // namespace service

#endif
