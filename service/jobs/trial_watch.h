// SPDX-License-Identifier: MIT
// What the host tells of the trial of the running bank, or of the one before it.
#ifndef SERVICE_JOBS_TRIAL_WATCH_H
#define SERVICE_JOBS_TRIAL_WATCH_H

#include "service/jobs/job_context.h"
#include "service/state/explain.h"

#include "base/json.h"

#include <string>

namespace service {

class TrialWatch {
  public:
    explicit TrialWatch(JobContext &context) : context_(context) {}

    void hostTells(const std::string &note, const cJSON &message);
    void hostReaches(const std::string &stage);
    /* There is none, or it is over. */
    void clear() { trial_ = {}; }

    const TrialNow &now() const { return trial_; }

  private:
    base::Reason whyFailed(const std::string &version) const;

    JobContext &context_;
    TrialNow trial_;
};

} // namespace service

#endif
