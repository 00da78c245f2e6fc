// SPDX-License-Identifier: MIT
// The boot state as variables of the boot loader's environment.
#ifndef NODE_BOOT_STATE_TEXT_H
#define NODE_BOOT_STATE_TEXT_H

#include "node/boot_state.h"

#include <string>

namespace node {

/* Every variable of the state; those that it has none for are empty. */
BootVariables formatBootState(const BootState &state);

/* False: whatIsWrong is one line with `place`, the variable and what was expected. */
bool parseBootState(const std::string &place, const BootVariables &variables, BootState &state,
                    std::string &whatIsWrong);

} // namespace node

#endif
