// SPDX-License-Identifier: MIT
// The trial of a new version: what a host does about it at the first start after a boot.
#ifndef PLATFORM_TRIAL_H
#define PLATFORM_TRIAL_H

#include "base/result.h"

#include <string>

/*
 * The order, once after each boot and after nalOpen: nalBeginTrial; where that says running,
 * nalCheckHealth unless nalIsHealthy, and where that fails nalFailTrial and a reboot; then the
 * agent's start, nalPrepareCommit, the agent's commit check, nalCommit. A bank that did not pass
 * must not come to the commit check, which would report a commit. None may be called while a call
 * of the agent runs.
 */
enum class NalTrial {
    none,    // nothing was activated since the last commit
    running, // the running bank must still prove itself
    failed   // the activated bank did not come up, or not for long; the running one is the old one
};

/*
 * Says which it is, and settles a trial that failed: the running bank boots next, the version is
 * remembered where it used up its attempts, and `what` is one line. A state that cannot be read or
 * stored is said in `what` as well, and is none.
 */
NalTrial nalBeginTrial(std::string &what);

/*
 * Runs the health command of the configuration and waits for it, at most for its time limit; then
 * it is killed with all that it started. Error: there is one, and it did not end with 0.
 */
base::Result<void> nalCheckHealth();

/* The other bank boots next, and the running version is remembered as one that failed. */
base::Result<void> nalFailTrial();

/* Error: rebooting would not bring the chosen bank: it is damaged, or did not come several times.
 */
base::Result<void> nalMayReboot();

/* True where the running bank passed its trial and only the commit is missing. */
bool nalIsHealthy();

/*
 * Keeps that the running bank passed, with all its attempts again: what is reported as committed
 * must not be taken back by a power cut or a second health command. After an error do not report
 * it.
 */
base::Result<void> nalPrepareCommit();

/* The running bank is good: it boots from now on without counting. Nothing where it was already. */
base::Result<void> nalCommit();

/* A version that failed its trials may be offered again. Error also where it was not remembered. */
base::Result<void> nalForget(const std::string &version);

#endif
