// SPDX-License-Identifier: MIT
// What the parts of the job runner share: the service around them, and what the host does now.
#ifndef SERVICE_JOBS_JOB_CONTEXT_H
#define SERVICE_JOBS_JOB_CONTEXT_H

#include "service/call_observer.h"
#include "service/jobs/job_events.h"
#include "service/node_timers.h"
#include "service/request_book.h"
#include "service/state/request_check.h"

#include "node/config/config.h"

#include <chrono>
#include <string>

namespace service {

/* The service around the job runner; all of it outlives the job runner. */
struct Dependencies {
    sd_event *loop;
    const node::Config &config;
    const std::string &bootId;
    RequestBook &book;
    EventLog &eventLog;
    StatusBoard &board;
    BusService &bus;
    NodeTimers &timers;
    std::chrono::milliseconds rebootPatience;
};

/* What the host does. */
enum class JobState {
    off, // it does not run
    startingUp,
    restoring,  // the agent gets back what it remembered
    abandoning, // what a request left is taken back
    idle,
    commanding, // an operator's command is carried out
    keeping,    // nothing yet: the call is being written to the disk
    busy        // a call of the agent runs
};

struct JobContext {
    explicit JobContext(const Dependencies &around)
        : deps(around), events(around.eventLog, around.board, around.bus) {}

    Ledger &ledger() { return deps.book.ledger(); }
    const Ledger &ledger() const { return deps.book.ledger(); }
    const NodeStatus &status() const { return deps.board.lastStatus(); }
    Judge judge() const;

    /* A bank was activated, and the node has not rebooted since. */
    bool awaitsReboot() const;
    /* One that ran out while the agent was busy is still to come for it. */
    bool awaitsTimer() const;
    /* The offer that the agent's timers work for; null: there is none. */
    const Request *currentOffer() const;
    Request expiryOf(const std::string &timer) const;
    /* The image of the waiting offer is in the passive bank for its time, and the call of this
     * request, which is over, changed nothing of that. */
    bool waitsUntouchedBy(const Request &request) const;

    Dependencies deps;
    JobEvents events;
    JobState state = JobState::off;
    CallObserver observed{}; // of the call that runs, or of the start-up
};

} // namespace service

#endif
