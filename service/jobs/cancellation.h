// SPDX-License-Identifier: MIT
// Requests that are ended before their time.
#ifndef SERVICE_JOBS_CANCELLATION_H
#define SERVICE_JOBS_CANCELLATION_H

#include "service/bus/bus_calls.h"
#include "service/jobs/job_context.h"
#include "service/jobs/reboot_watch.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace service {

class Cancellation {
  public:
    using Answer = BusCalls::Answer;

    /* `endHost` kills the host; where none runs, its end is carried out at once. */
    Cancellation(JobContext &context, RebootWatch &reboot, std::function<void()> endHost)
        : context_(context), reboot_(reboot), endHost_(std::move(endHost)) {}

    /* Ends the request of this ticket, or with 0 whatever runs or waits. */
    void cancel(std::uint64_t ticket, Answer answer);
    /* The host was killed for it, and has ended: nothing of the request may come back. */
    void forgetRequest();
    /* The request has ended in any case; what could not be cleaned away is told to whoever asked.
     */
    void answer(const base::Result<void> &cleaned);
    /* What the request left is cleaned away. */
    void finish(const base::Result<void> &cleaned);

    /* From the first call until everything is cleaned away. */
    bool isUnderWay() const { return underWay_; }
    bool awaitsEndOfHost() const { return toForget_ != ToForget::nothing; }

  private:
    enum class ToForget { nothing, running, everything };

    bool runsOrWaits(std::uint64_t ticket) const;
    bool runsForItself(std::uint64_t ticket) const;
    bool hasBooted() const;
    bool cancelInQueue(std::uint64_t ticket, const Answer &answer);
    void finishRequest(const Request &request, const std::string &when);
    void forgetEverything();
    void saveAndAnswer(std::vector<Answer> answers, std::uint64_t ticket,
                       const base::Result<void> &cleaned);

    JobContext &context_;
    RebootWatch &reboot_;
    std::function<void()> endHost_;
    bool underWay_ = false;
    ToForget toForget_ = ToForget::nothing; // once the host has ended
    std::uint64_t ticket_ = 0;
    std::vector<Answer> answers_;
};

} // namespace service

#endif
