// SPDX-License-Identifier: MIT
// An offer that the agent put off, until the settings are such that it would go on with it.
#ifndef SERVICE_JOBS_DEFERRED_OFFER_H
#define SERVICE_JOBS_DEFERRED_OFFER_H

#include "service/jobs/job_context.h"

#include <functional>

namespace service {

class DeferredOffer {
  public:
    /* `begin` is called where what was put off has its turn now. */
    DeferredOffer(JobContext &context, std::function<void()> begin)
        : context_(context), begin_(std::move(begin)) {}

    void callBegins() { settingsChanged_ = false; }
    /* The call that is over put the waiting offer off. */
    void putOff();
    void callEnded(bool putOff);
    /* What was put off has its turn where the agent would go on with it now. */
    void settingsChanged();
    /* Before the next call: the agent itself never takes its mark back. True: the memory is
     * another one now. */
    bool takesMarkBack();

  private:
    void record(const Request &offer);

    JobContext &context_;
    std::function<void()> begin_;
    bool takeMarkBack_ = false;    // before the next call
    bool settingsChanged_ = false; // while the call ran
};

} // namespace service

#endif
