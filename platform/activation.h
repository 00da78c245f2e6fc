// SPDX-License-Identifier: MIT
// Taking the choice of the next bank back.
#ifndef PLATFORM_ACTIVATION_H
#define PLATFORM_ACTIVATION_H

#include "base/result.h"
#include "node/boot_state.h"

namespace platform {

/* Error: the running bank must still prove itself, and what it would fall back to stays. */
base::Result<void> isFreeToChange(const node::BootState &state);

/* The running bank boots next, and `state` is stored so. */
base::Result<void> takeChoiceBack(node::BootState &state);

} // namespace platform

#endif
