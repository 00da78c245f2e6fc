// SPDX-License-Identifier: MIT
#include "service/jobs/job_context.h"

#include "service/state/deferral.h"
#include "service/state/request_check.h"

#include <algorithm>

namespace service {

Judge JobContext::judge() const { return judgeNow(deps.config, status()); }

bool JobContext::awaitsReboot() const {
    return ledger().rebootDue || (ledger().waiting && ledger().waiting->activated);
}

bool JobContext::awaitsTimer() const {
    const std::list<Request> &queue = ledger().queue;
    return !deps.timers.armed().empty() ||
           std::any_of(queue.begin(), queue.end(),
                       [](const Request &one) { return one.kind == kTimer; });
}

const Request *JobContext::currentOffer() const {
    if (ledger().waiting) {
        return &ledger().waiting->offer;
    }
    return ledger().running && ledger().running->request.kind == kNewImage
               ? &ledger().running->request
               : nullptr;
}

Request JobContext::expiryOf(const std::string &timer) const {
    Request expiry = timerRequest(timer);
    if (const Request *const offer = currentOffer()) {
        expiry.ticket = offer->ticket;
        expiry.version = offer->version;
        expiry.policy = offer->policy;
    }
    return expiry;
}

bool JobContext::waitsUntouchedBy(const Request &request) const {
    const std::optional<WaitingOffer> &waiting = ledger().waiting;
    return waiting && !waiting->activated && !waiting->deferred &&
           waiting->offer.version != request.version &&
           passiveVersion(status()) == waiting->offer.version && awaitsTimer();
}

} // namespace service
