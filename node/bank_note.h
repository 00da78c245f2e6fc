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

/* False: the host could not read it, and whatIsWrong is its line. */
bool takeBankNote(const cJSON *note, node::BootState &state, std::string &whatIsWrong);

} // namespace node

#endif
