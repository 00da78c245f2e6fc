// SPDX-License-Identifier: MIT
// The boot state as the service learns of it.
#ifndef NODE_BANK_FACTS_H
#define NODE_BANK_FACTS_H

#include "node/boot_state.h"
#include "platform/service.h"

namespace node {

/* All of it; the versions fit, they have at most 63 characters. */
OtaBankFacts factsOf(const BootState &state);

} // namespace node

#endif
