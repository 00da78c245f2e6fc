// SPDX-License-Identifier: MIT
// Why something was not let through to the agent.
#include "guard/refusal.h"

namespace guard {

std::string Refusal::text() const { return base::plain(field + ": " + reason); }

} // namespace guard
