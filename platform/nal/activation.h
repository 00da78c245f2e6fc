// SPDX-License-Identifier: MIT
// Taking the choice of the next bank back.
#ifndef PLATFORM_NAL_ACTIVATION_H
#define PLATFORM_NAL_ACTIVATION_H

#include "platform/nal/boot_state.h"

#include <string>

namespace nal {

/* True where the running bank must still prove itself: what it would fall back to stays then. */
bool isOnTrialItself(const BootState &state, std::string &whatIsWrong);

/* The running bank boots next, and `state` is stored so. False: whatIsWrong is one line. */
bool takeChoiceBack(BootState &state, std::string &whatIsWrong);

} // namespace nal

#endif
