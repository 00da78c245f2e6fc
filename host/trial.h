// SPDX-License-Identifier: MIT
// The trial of a new version: the health of the node before the agent starts, the commit behind it.
#ifndef HOST_TRIAL_H
#define HOST_TRIAL_H

#include "base/channel.h"
#include "base/result.h"

#include <string>

namespace host {

enum class TrialVerdict {
    none,    // the running bank is not on trial: the commit check is due as ever
    passed,  // it is on trial and healthy: prepareCommit, the commit check, commitTrial are due
    unproven // it goes on without having passed: the agent must not report a commit
};

/* The banks as they are now, for the supervisor, which never opens the boot state itself. */
void tellBanks();

/*
 * At the first start after a boot, before the agent starts. Tells the supervisor what it finds,
 * waits for the health command and, as long again, for the file that the agent's start waits for
 * without an end. Where the trial failed and the old bank boots next it does not return: a reboot
 * is asked for.
 */
TrialVerdict proveTrial(const base::Channel &supervisor, const std::string &agentWaitsFor);

/*
 * Keeps that the running bank passed, before a commit is reported. False: it is told, and no commit
 * must be reported; the agent's mark stays for the next start.
 */
bool prepareCommit();

/* Marks the running bank good. Where that fails the node goes on, and it is told. */
void commitTrial();

/*
 * An operator decides that the running bank is good. Where it is still on trial its commit check
 * may be due yet: it was left out if the passing could not be kept, and runs here. After an
 * error nothing was reported that does not hold.
 */
base::Result<void> commitByHand(void (*commitCheck)());

} // namespace host

#endif
