// SPDX-License-Identifier: MIT
#include "guard/refusal.h"

namespace guard {

std::string Refusal::text() const { return base::plain(field + ": " + reason); }

} // namespace guard
