// SPDX-License-Identifier: MIT
// The boot state as the service learns of it.
#ifndef NODE_BANK_FACTS_H
#define NODE_BANK_FACTS_H

#include "node/boot_state.h"
#include "platform/service.h"

namespace node {

OtaBankFacts factsOf(const BootState &state);

} // namespace node

#endif
