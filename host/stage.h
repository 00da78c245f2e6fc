// SPDX-License-Identifier: MIT
// Where in an update the agent is, for the supervisor to tell.
#ifndef HOST_STAGE_H
#define HOST_STAGE_H

#include <optional>
#include <string_view>

namespace host {

enum class Stage { idle, downloading, verifying, writing, activating, rebooting, committing };

/* The word of the notes: "idle", "downloading" and so on. */
const char *stageName(Stage stage);

/* The stage that begins with this entry of the agent's log; `text` is what follows its prefix. */
std::optional<Stage> stageThatBegins(std::string_view function, std::string_view text);

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

} // namespace host

#endif
