// SPDX-License-Identifier: MIT
// The boot state as releases before the boot loader's environment kept it: read, never written.
#ifndef NODE_BOOT_STATE_OLDER_H
#define NODE_BOOT_STATE_OLDER_H

#include "node/boot_state.h"

namespace node {

/*
 * An INI file whose last line is the SHA-256 sum of the lines above it. True: the file is one,
 * whole and of sense. A chosen bank keeps its turn; trials were not known then, so there is none.
 */
bool readOlderBootState(const BootPlace &place, BootState &state);

} // namespace node

#endif
