// SPDX-License-Identifier: MIT
// What the host tells its supervisor of the banks: only the host opens the boot state.
#ifndef HOST_BANK_NOTE_H
#define HOST_BANK_NOTE_H

#include "host/json.h"
#include "platform/nal/boot_state.h"

#include <string>

namespace host {

/* The note "banks" with the state as its place has it now, or with why that cannot be read. */
Json bankNote(const nal::BootPlace &place);

/* False: the host could not read it, and whatIsWrong is its line. */
bool takeBankNote(const cJSON *note, nal::BootState &state, std::string &whatIsWrong);

} // namespace host

#endif
