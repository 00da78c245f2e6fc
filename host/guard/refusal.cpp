// SPDX-License-Identifier: MIT
// Why something was not let through to the agent.
#include "host/guard/refusal.h"

namespace host::guard {

std::string Refusal::text() const { return base::plain(field + ": " + reason); }

} // namespace host::guard
