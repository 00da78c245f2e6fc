// SPDX-License-Identifier: MIT
// Taking the choice of the next bank back.
#ifndef PLATFORM_ACTIVATION_H
#define PLATFORM_ACTIVATION_H

#include "node/boot_state.h"

#include <string>

namespace platform {

/* True where the running bank must still prove itself: what it would fall back to stays then. */
bool isOnTrialItself(const node::BootState &state, std::string &whatIsWrong);

/* The running bank boots next, and `state` is stored so. False: whatIsWrong is one line. */
bool takeChoiceBack(node::BootState &state, std::string &whatIsWrong);

} // namespace platform

#endif
