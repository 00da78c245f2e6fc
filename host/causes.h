// SPDX-License-Identifier: MIT
// Why something failed, for the supervisor to tell: from the node's own calls and the agent's log.
#ifndef HOST_CAUSES_H
#define HOST_CAUSES_H

#include "base/result.h"

#include <string_view>

namespace host {

/*
 * From now on each cause of a failure goes to the supervisor as a note, before the agent goes on.
 * Call it once, after setSupervisor and before the agent.
 */
void followCauses();

/* An entry of the agent's log, without its prefix. */
void takeCauseOfEntry(std::string_view function, std::string_view text);

/*
 * The transfer that runs now failed, by this: the agent's log can only name a result of libcurl's.
 */
void expectCause(const base::Error &cause);

/* The agent's call is over: tells what it left without a word. */
void endCauses();

} // namespace host

#endif
