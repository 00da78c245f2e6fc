// SPDX-License-Identifier: MIT
// What the end of a call means for its request and for the offer that waits.
#ifndef SERVICE_JOBS_CALL_END_H
#define SERVICE_JOBS_CALL_END_H

#include "service/jobs/deferred_offer.h"
#include "service/jobs/download_series.h"
#include "service/jobs/job_context.h"
#include "service/state/agent_memory_text.h"

#include "base/json.h"

namespace service {

class CallEnd {
  public:
    CallEnd(JobContext &context, DownloadSeries &series, DeferredOffer &deferred)
        : context_(context), series_(series), deferred_(deferred) {}

    /* The host's message that the call is over. */
    void take(const cJSON &message);

  private:
    Running closeCall(const cJSON &message);
    void finishTrigger(const Request &trigger, const AgentMemoryText &before);
    void offerEnded(const Request &offer, const Running &ended);
    void passedOver(const Request &offer);
    void waitingGoesOn(const Running &ended, bool putOff);
    void supersedeWaiting(const Request &by);
    void finishByCall(const Request &request);
    void recordFailedAttempt(const Request &offer);

    JobContext &context_;
    DownloadSeries &series_;
    DeferredOffer &deferred_;
};

} // namespace service

#endif
