// SPDX-License-Identifier: MIT
// Why something was not let through to the agent.
#ifndef HOST_GUARD_REFUSAL_H
#define HOST_GUARD_REFUSAL_H

#include "base/spelled.h"
#include "host/outcome.h"

#include <string>

namespace host::guard {

struct Refusal {
    Outcome outcome;
    std::string field;  // the key, setting or flag; "descriptor" or "record" for the whole text
    std::string reason; // what is wrong and what is expected

    /* "<field>: <reason>", one line of printable ASCII, whatever the two hold. */
    std::string text() const;
};

using base::spelled;

} // namespace host::guard

#endif
