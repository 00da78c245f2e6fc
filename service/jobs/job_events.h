// SPDX-License-Identifier: MIT
// Records what happens to requests, and tells their ends on the bus.
#ifndef SERVICE_JOBS_JOB_EVENTS_H
#define SERVICE_JOBS_JOB_EVENTS_H

#include "service/bus/bus_service.h"
#include "service/event_log.h"
#include "service/state/ledger.h"
#include "service/status_board.h"

#include "guard/refusal.h"

#include <string>

namespace service {

class JobEvents {
  public:
    /* All of them outlive this. */
    JobEvents(EventLog &eventLog, StatusBoard &board, BusService &bus)
        : eventLog_(eventLog), board_(board), bus_(bus) {}

    void record(const HistoryLine &line) { eventLog_.record(line); }
    void record(const std::string &event, const Request &request, const std::string &reason = "");
    /* The request is over. Without a reason it is the one that the outcome has as a rule. */
    void finish(const Request &request, base::Outcome outcome, const base::Error &why);
    /* A kept request may not reach the agent any more. */
    void refuse(const Request &request, const guard::Refusal &refusal);

    static HistoryLine lineOf(const std::string &event, const Request &request);
    /* Of the request that runs or waits. */
    HistoryLine lineOfNow(const std::string &event) const;

  private:
    EventLog &eventLog_;
    StatusBoard &board_;
    BusService &bus_;
};

} // namespace service

#endif
