// SPDX-License-Identifier: MIT
// Begins a call of the agent: checked once more, kept as running, then sent.
#ifndef SERVICE_JOBS_CALL_START_H
#define SERVICE_JOBS_CALL_START_H

#include "service/jobs/deferred_offer.h"
#include "service/jobs/host_supervision.h"
#include "service/jobs/job_context.h"
#include "service/jobs/save_retries.h"

#include <functional>
#include <string>

namespace service {

class CallStart {
  public:
    /* `notBegun`: the host is free for something else. */
    CallStart(JobContext &context, HostSupervision &host, SaveRetries &saves,
              DeferredOffer &deferred, std::function<void()> notBegun)
        : context_(context), host_(host), saves_(saves), deferred_(deferred),
          notBegun_(std::move(notBegun)) {}

    void begin(Running running);
    /* What runs is on the disk before the agent hears of it. A timer has run out for the agent all
     * the same: it hears of that whether it can be kept or not. */
    void keepAndSend();

  private:
    void refuse(const Request &request, const guard::Refusal &refusal);
    void kept(const base::Result<void> &saved);
    void send();
    void putBack();

    JobContext &context_;
    HostSupervision &host_;
    SaveRetries &saves_;
    DeferredOffer &deferred_;
    std::function<void()> notBegun_;
};

} // namespace service

#endif
