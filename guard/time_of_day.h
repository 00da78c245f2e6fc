// SPDX-License-Identifier: MIT
// Times of day as the agent takes them.
#ifndef GUARD_TIME_OF_DAY_H
#define GUARD_TIME_OF_DAY_H

#include <string_view>

namespace guard {

/* hh[:mm[:ss]], one or two digits each, up to 23:59:59. */
bool isTimeOfDay(std::string_view text);

/* What is expected of one, for a refusal. */
inline constexpr const char *kTimeOfDay =
    "hh, hh:mm or hh:mm:ss from 0:00 to 23:59:59 (midnight is 0:00)";

} // namespace guard

#endif
