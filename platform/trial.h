// SPDX-License-Identifier: MIT
// The trial of a new version: what a host does about it at the first start after a boot.
#ifndef PLATFORM_TRIAL_H
#define PLATFORM_TRIAL_H

#include <string>

/*
 * The order, once after each boot and after nalOpen: nalBeginTrial; where that says running,
 * nalCheckHealth unless nalIsHealthy, and where that fails nalFailTrial and a reboot; then the
 * agent's start, nalPrepareCommit, the agent's commit check, nalCommit. A bank that did not pass
 * must not come to the commit check, which would report a commit. Each call that can fail: true, or
 * false with whatIsWrong as one line. None may be called while a call of the agent runs.
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
 * it is killed with all that it started. True: it ended with 0, or there is none.
 */
bool nalCheckHealth(std::string &whatIsWrong);

/* The other bank boots next, and the running version is remembered as one that failed. */
bool nalFailTrial(std::string &whatIsWrong);

/* False: rebooting would not bring the chosen bank: it is damaged, or did not come several times.
 */
bool nalMayReboot(std::string &whatIsWrong);

/* True where the running bank passed its trial and only the commit is missing. */
bool nalIsHealthy();

/*
 * Keeps that the running bank passed, with all its attempts again: what is reported as committed
 * must not be taken back by a power cut or a second health command. False: do not report it.
 */
bool nalPrepareCommit(std::string &whatIsWrong);

/* The running bank is good: it boots from now on without counting. Nothing where it was already. */
bool nalCommit(std::string &whatIsWrong);

/* A version that failed its trials may be offered again. False also where it was not remembered. */
bool nalForget(const std::string &version, std::string &whatIsWrong);

#endif
