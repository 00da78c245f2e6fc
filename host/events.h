// SPDX-License-Identifier: MIT
// The events of the channel and the calls of the agent that take them.
#ifndef HOST_EVENTS_H
#define HOST_EVENTS_H

#include "host/agent_library.h"
#include "host/json.h"

#include <string>

namespace host {

/*
 * Hands the event to the agent and returns when the call is done; `name` is then the event's.
 * False: the agent was not called, and whatIsWrong is one line: what is wrong and what was
 * expected.
 */
bool handleEvent(const AgentLibrary &agent, const Json &event, std::string &name,
                 std::string &whatIsWrong);

/* A whole number that fits in an int. False: whatIsWrong names the key. */
bool takeInteger(const cJSON *object, const char *key, int &number, std::string &whatIsWrong);

} // namespace host

#endif
