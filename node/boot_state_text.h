// SPDX-License-Identifier: MIT
// The boot state as variables of the boot loader's environment.
#ifndef NODE_BOOT_STATE_TEXT_H
#define NODE_BOOT_STATE_TEXT_H

#include "node/boot_state.h"

#include <string>

namespace node {

/* Every variable of the state; those that it has none for are empty. */
BootVariables formatBootState(const BootState &state);

/* An error names `place`, the variable and what was expected. */
base::Result<BootState> parseBootState(const std::string &place, const BootVariables &variables);

} // namespace node

#endif
