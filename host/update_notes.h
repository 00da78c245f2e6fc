// SPDX-License-Identifier: MIT
// What the supervisor learns of an update, for it to tell: where the agent is, and why something
// failed, from the node's own calls and the agent's log.
#ifndef HOST_UPDATE_NOTES_H
#define HOST_UPDATE_NOTES_H

#include "base/result.h"

namespace host {

enum class Stage { idle, downloading, verifying, writing, activating, rebooting, committing };

/*
 * From now on each change of the stage goes to the supervisor as a note, before the work of the
 * stage begins. Call it once, after setSupervisor and before the agent.
 */
void followStages();

Stage currentStage();

/* What is not the agent's own enters its stage by itself: told where it is another one. */
void enterStage(Stage stage);

/* The agent's call is over: tells that the stage is idle where it was not. */
void endStage();

/*
 * From now on each cause of a failure goes to the supervisor as a note, before the agent goes on.
 * Call it once, after setSupervisor and before the agent.
 */
void followCauses();

/*
 * The transfer that runs now failed, by this: the agent's log can only name a result of libcurl's.
 */
void expectCause(const base::Error &cause);

/* The agent's call is over: tells what it left without a word. */
void endCauses();

} // namespace host

#endif
