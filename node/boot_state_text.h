// SPDX-License-Identifier: MIT
// The boot state as text: variables of the boot loader's environment, and what releases before that
// kept instead, which is read and never written.
#ifndef NODE_BOOT_STATE_TEXT_H
#define NODE_BOOT_STATE_TEXT_H

#include "node/boot_state.h"

#include <string>

namespace node {

/* Every variable of the state; those that it has none for are empty. */
BootVariables formatBootState(const BootState &state);

/* An error names `place`, the variable and what was expected. */
base::Result<BootState> parseBootState(const std::string &place, const BootVariables &variables);

/*
 * An INI file whose last line is the SHA-256 sum of the lines above it. True: the file is one,
 * whole and of sense. A chosen bank keeps its turn; trials were not known then, so there is none.
 */
bool readOlderBootState(const BootPlace &place, BootState &state);

} // namespace node

#endif
