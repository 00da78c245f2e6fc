// SPDX-License-Identifier: MIT
// Why something was not let through to the agent.
#ifndef HOST_GUARD_REFUSAL_H
#define HOST_GUARD_REFUSAL_H

#include "host/outcome.h"

#include <string>
#include <string_view>

namespace host::guard {

struct Refusal {
    Outcome outcome;
    std::string field;  // the key, setting or flag; "descriptor" or "record" for the whole text
    std::string reason; // what is wrong and what is expected

    /* "<field>: <reason>", one line of printable ASCII, whatever the two hold. */
    std::string text() const;
};

/*
 * A text from outside, fit to be shown: in double quotes, bytes that are not printable ASCII,
 * double quotes and backslashes as \xNN, and after 60 characters cut with "..." behind the quotes.
 */
std::string spelled(std::string_view hostile);

} // namespace host::guard

#endif
