// SPDX-License-Identifier: MIT
// A name whose look-up hangs, as with a name server that does not answer.
#ifndef TESTS_SERVICE_UPLINK_HANGING_LOOK_UP_H
#define TESTS_SERVICE_UPLINK_HANGING_LOOK_UP_H

inline constexpr const char *kHangingName = "hangs.example";

/* How many look-ups of that name hang now. */
int hangingLookUps();
/* Lets them, and those to come, end without an address. */
void endHangingLookUps();

#endif
