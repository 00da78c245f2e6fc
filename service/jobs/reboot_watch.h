// SPDX-License-Identifier: MIT
// The reboot behind an activation: told where it does not come.
#ifndef SERVICE_JOBS_REBOOT_WATCH_H
#define SERVICE_JOBS_REBOOT_WATCH_H

#include "service/jobs/job_context.h"
#include "service/loop.h"

namespace service {

class RebootWatch {
  public:
    explicit RebootWatch(JobContext &context)
        : context_(context), overdue_(context.deps.loop, [this] { isOverdue(); }) {}

    /* From the activation on: the agent may go on with its call long after it asked for the
     * reboot. */
    void await();
    /* What was activated is taken back. */
    void forget();

  private:
    void isOverdue();

    JobContext &context_;
    Alarm overdue_;
};

} // namespace service

#endif
