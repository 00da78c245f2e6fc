// SPDX-License-Identifier: MIT
// What the supervisor learns of an update, for it to tell: where the agent is, and why something
// failed, from the node's own calls and the agent's log.
#ifndef HOST_UPDATE_NOTES_H
#define HOST_UPDATE_NOTES_H

#include "base/result.h"

#include <string_view>

namespace host {

enum class Stage { idle, downloading, verifying, writing, activating, rebooting, committing };

/*
 * From now on the platform's own words go to the supervisor as notes: that its banks are others,
 * and why a write or an activation failed. Call it once, after openPlatform and before the agent;
 * the version is the agent's, of the offer that it works on.
 */
void followPlatform(const char *offeredVersion);

/* An entry of the log, as it was written: the stage and the cause of a failure that it tells. */
void followLog(const char *function, std::string_view text);

/* Around a call of the platform: whether it told why it failed, and a cause where it did not. */
void awaitReason();
void tellUnlessTold(const base::Error &cause);

Stage currentStage();

/* What is not the agent's own enters its stage by itself: told where it is another one. */
void enterStage(Stage stage);

/* The agent's call is over: tells that the stage is idle where it was not. */
void endStage();

/*
 * The transfer that runs now failed, by this: the agent's log can only name a result of libcurl's.
 */
void expectCause(const base::Error &cause);

/* The agent's call is over: tells what it left without a word. */
void endCauses();

} // namespace host

#endif
