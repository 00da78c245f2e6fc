// SPDX-License-Identifier: MIT
#include "service/jobs/job_events.h"

namespace service {

void JobEvents::record(const std::string &event, const Request &request,
                       const std::string &reason) {
    HistoryLine line = lineOf(event, request);
    line.reason = reason;
    record(line);
}

void JobEvents::finish(const Request &request, base::Outcome outcome, const base::Error &why) {
    const base::Error cause = why.orBecause(base::usualReason(outcome));
    const base::OutcomeRow &row = base::rowOf(outcome);
    const base::ReasonRow &because = base::rowOf(cause.reason);
    HistoryLine line =
        lineOf(outcome == base::Outcome::cancelled ? "cancelled" : "finished", request);
    line.outcome = outcome;
    line.reasonCode = cause.reason;
    line.reason = cause.text;
    line.next = cause.reason == base::Reason::none ? row.remedy : because.remedy;
    record(line);
    const base::End end = base::endOf(request.ticket, outcome, cause);
    board_.setLastEnd(end);
    bus_.raiseFinished(end);
}

void JobEvents::refuse(const Request &request, const guard::Refusal &refusal) {
    HistoryLine line = lineOf("refused", request);
    line.outcome = refusal.outcome;
    line.reasonCode = base::Reason::storedRequestRefused;
    line.reason = refusal.text();
    line.next = "nothing: it was kept, and is dropped";
    record(line);
}

HistoryLine JobEvents::lineOf(const std::string &event, const Request &request) {
    return {.event = event, .ticket = request.ticket, .version = request.version};
}

HistoryLine JobEvents::lineOfNow(const std::string &event) const {
    const NodeStatus &status = board_.lastStatus();
    return {.event = event, .ticket = status.ticket, .version = status.version};
}

} // namespace service
