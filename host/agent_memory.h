// SPDX-License-Identifier: MIT
// What the agent remembers between calls, as JSON: taken after a call, given to a later process.
#ifndef HOST_AGENT_MEMORY_H
#define HOST_AGENT_MEMORY_H

#include "base/json.h"
#include "base/result.h"
#include "host/agent_library.h"

#include <string>

namespace host {

/*
 * A new object {"swInfo": {…}, "swActTime": {…}, "otaLibConfig": {…}, "g_rebootTime": text, and the
 * flags as numbers}; each key is the variable's name. Null where memory ran out. The count of
 * failed downloads is the library's own: the supervisor counts on, and says when a series ends.
 */
base::Json takeMemory(const AgentState &state);

/*
 * Sets the agent's variables from such an object: every key must be there, of the right type, its
 * text within the variable's width. Nothing outside the process changes. After an error no
 * variable has changed.
 */
base::Result<void> restoreMemory(const AgentState &state, const cJSON *memory);

} // namespace host

#endif
