// SPDX-License-Identifier: MIT
// Why something was not let through to the agent.
#ifndef GUARD_REFUSAL_H
#define GUARD_REFUSAL_H

#include "base/outcome.h"
#include "base/text.h"

#include <string>

namespace guard {

struct Refusal {
    base::Outcome outcome;
    std::string field;  // the key, setting or flag; "descriptor" or "record" for the whole text
    std::string reason; // what is wrong and what is expected

    /* "<field>: <reason>", one line of printable ASCII, whatever the two hold. */
    std::string text() const;
};

using base::quoted;

} // namespace guard

#endif
