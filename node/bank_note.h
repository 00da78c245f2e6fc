// SPDX-License-Identifier: MIT
// What the host tells its supervisor of the banks: only the host opens the boot state.
#ifndef NODE_BANK_NOTE_H
#define NODE_BANK_NOTE_H

#include "base/json.h"
#include "node/boot_state.h"

#include <string>

namespace node {

/* The note "banks" with the state as its place has it now, or with why that cannot be read. */
base::Json bankNote(const node::BootPlace &place);

/* Error: the host could not read it, with its line. */
base::Result<BootState> takeBankNote(const cJSON *note);

} // namespace node

#endif
