// SPDX-License-Identifier: MIT
// The events of the channel and the calls of the agent that take them.
#ifndef HOST_EVENTS_H
#define HOST_EVENTS_H

#include "base/json.h"
#include "host/agent_library.h"

#include <string>

namespace host {

struct Handled {
    std::string name;    // the event's
    std::string failure; // of one that was understood and could not be carried out: one line
};

/*
 * Hands the event to the agent, or to the node where it is none of the agent's, and returns when
 * that is done. Error: nothing was called; it says what is wrong and what was expected.
 */
base::Result<Handled> handleEvent(const AgentLibrary &agent, const base::Json &event);

} // namespace host

#endif
