// SPDX-License-Identifier: MIT
// What the verbs that only ask for something print when they got it.
#ifndef CLI_ANSWER_H
#define CLI_ANSWER_H

#include "base/end.h"
#include "base/json.h"
#include "cli/verbs.h"

#include <cstdint>
#include <string>

namespace cli {

using Finished = base::End;

/* Its outcome has one that says more. */
bool hasReason(const Finished &end);

/* "accepted, ticket 7", or the object of a success with that ticket. */
void answerTicket(const std::string &what, std::uint64_t ticket, const Globals &globals);

/* The end of a ticket as one object; returns its code. */
int answerEnd(const Finished &end);

} // namespace cli

#endif
