// SPDX-License-Identifier: MIT
// The trial of a new version: the health of the node before the agent starts, the commit behind it.
#ifndef HOST_TRIAL_H
#define HOST_TRIAL_H

#include "host/channel.h"

namespace host {

/*
 * At the first start after a boot, before the agent starts. Tells the supervisor what it finds and
 * waits for the health command. True: the running bank is on trial and passed so far, so that
 * commitTrial is due behind the agent's commit check. Where the trial failed and the old bank boots
 * next it does not return: a reboot is asked for, and the agent must not report a commit before it.
 */
bool passesTrial(const Channel &supervisor);

/* Marks the running bank good. Where that fails the node goes on, and it is told. */
void commitTrial();

} // namespace host

#endif
