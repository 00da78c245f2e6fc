// SPDX-License-Identifier: MIT
// A ledger that cannot be kept: told once, and tried until it can be.
#ifndef SERVICE_JOBS_SAVE_RETRIES_H
#define SERVICE_JOBS_SAVE_RETRIES_H

#include "service/jobs/job_context.h"
#include "service/loop.h"

#include <functional>
#include <string>

namespace service {

class SaveRetries {
  public:
    SaveRetries(JobContext &context, std::function<void()> saveAgain)
        : context_(context), saveAgain_(context.deps.loop, std::move(saveAgain)) {}

    void failed(const std::string &what);
    void succeeded() { failures_ = 0; }

    /* In a row. */
    int failures() const { return failures_; }

  private:
    JobContext &context_;
    int failures_ = 0;
    Alarm saveAgain_;
};

} // namespace service

#endif
