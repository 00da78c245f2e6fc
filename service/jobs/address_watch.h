// SPDX-License-Identifier: MIT
// Requests that name the node by its address wait until it has one.
#ifndef SERVICE_JOBS_ADDRESS_WATCH_H
#define SERVICE_JOBS_ADDRESS_WATCH_H

#include "service/jobs/job_context.h"
#include "service/loop.h"

#include <cstdint>
#include <functional>

namespace service {

class AddressWatch {
  public:
    /* `lookAgain` is called every second while a request waits for the address. */
    AddressWatch(JobContext &context, std::function<void()> lookAgain)
        : context_(context), lookAgain_(context.deps.loop, std::move(lookAgain)) {}

    /* The agent would pass it over without a word. */
    bool mustWait(const Request &request);
    void stop() { lookAgain_.cancel(); }

    bool waits() const { return lookAgain_.isSet(); }

  private:
    JobContext &context_;
    std::uint64_t toldOf_ = 0; // the ticket of which it was told that it waits
    Alarm lookAgain_;
};

} // namespace service

#endif
