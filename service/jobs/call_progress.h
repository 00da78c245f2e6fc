// SPDX-License-Identifier: MIT
// What the host tells while a call of the agent runs.
#ifndef SERVICE_JOBS_CALL_PROGRESS_H
#define SERVICE_JOBS_CALL_PROGRESS_H

#include "service/jobs/job_context.h"
#include "service/jobs/reboot_watch.h"
#include "service/jobs/trial_watch.h"

#include <functional>
#include <string>

namespace service {

class CallProgress {
  public:
    CallProgress(JobContext &context, TrialWatch &trial, RebootWatch &reboot)
        : context_(context), trial_(trial), reboot_(reboot) {}

    void hostReaches(const std::string &stage);
    void hostReports(const std::string &word, const std::string &record);
    /* Of what failed last. */
    void hostTellsCause(const base::Error &cause) { context_.observed.cause = cause; }
    /* What is known of an activation is on the disk before the agent goes on to its reboot. */
    void hostActivated(std::function<void()> kept);
    /* An image went to the gateway, or could not. */
    void hostHandedOver(const base::Result<void> &handed);

  private:
    void observe(const std::string &stage);

    JobContext &context_;
    TrialWatch &trial_;
    RebootWatch &reboot_;
};

} // namespace service

#endif
