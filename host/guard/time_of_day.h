// SPDX-License-Identifier: MIT
// Times of day as the agent takes them.
#ifndef HOST_GUARD_TIME_OF_DAY_H
#define HOST_GUARD_TIME_OF_DAY_H

#include <string_view>

namespace host::guard {

/* hh[:mm[:ss]] of 24 hours, one or two digits each. */
bool isTimeOfDay(std::string_view text);

} // namespace host::guard

#endif
