// SPDX-License-Identifier: MIT
// Why nothing happens now and what will happen when, in sentences for operators.
#ifndef SERVICE_STATE_EXPLAIN_H
#define SERVICE_STATE_EXPLAIN_H

#include "service/bus/node_status.h"
#include "service/state/ledger.h"

#include <ctime>
#include <string>
#include <utility>
#include <vector>

namespace service {

/* What to do where an activated bank waits for a reboot that does not come. */
constexpr const char *kRebootByHand =
    "reboot the node and find out why /sbin/reboot does not; or otactl cancel takes the activation "
    "back";

/*
 * The agent takes the half hour of an earlier offer for open, and no timer will end it: it passes
 * every offer over.
 */
bool windowIsSpent(const Ledger &ledger);

/* How far the trial is that this start-up of the host settles. */
struct TrialNow {
    enum class Step {
        none,      // there is none, or it is over
        checking,  // the health command runs
        unhealthy, // it failed, and what follows is not known yet
        rebooting, // the old bank boots next
        passed,    // what is left is the agent's start and commit check
        notStored  // it passed, and the bank could not be marked good
    };
    Step step = Step::none;
    std::string reason; // of unhealthy, rebooting and notStored: one line
};

/* What status and ledger do not tell. */
struct ExplainFacts {
    std::time_t now = 0;
    bool agentStarted = true;
    std::string waitsForPath; // the file that the starting agent waits for; empty: none
    int hostCrashes = 0;      // in a row
    base::Error hostFailure;  // how the host process ended last, until it has started again
    int restartInSeconds = 0; // until the host is started again; 0: it runs or is being started
    std::string lastRefusal;  // of the last request that was refused; empty: none
    bool plainHttpAllowed = false;
    bool rootConfigured = false; // the configuration names a broker
    bool busConnected = true;
    bool awaitsAddress = false; // what has its turn does, since the bridge has none
    int failedSaves = 0;        // in a row: requests that could not be kept on disk
    TrialNow trial;
    int healthLimitSeconds = 0; // of the health command; 0: there is none
    int refuseAfterTrials = 0;  // failed trials of a version; 0: none is refused for them
};

/*
 * Topics (now, next, trial, agent, queue, bus, root, disk, last, rules) and sentences; never empty.
 * Times are local ones of this node.
 */
std::vector<std::pair<std::string, std::string>>
explainNode(const NodeStatus &status, const Ledger &ledger, const ExplainFacts &facts);

} // namespace service

#endif
