// SPDX-License-Identifier: MIT
// The requests that wait for their turn: kept before they are answered, taken out in their order.
#ifndef SERVICE_JOBS_JOB_QUEUE_H
#define SERVICE_JOBS_JOB_QUEUE_H

#include "service/bus/bus_calls.h"
#include "service/jobs/address_watch.h"
#include "service/jobs/job_context.h"
#include "service/jobs/save_retries.h"
#include "service/state/tickets_told.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace service {

class JobQueue {
  public:
    using Answer = BusCalls::Answer;

    /* `changed`: something may have its turn now. */
    JobQueue(JobContext &context, AddressWatch &address, const SaveRetries &saves,
             std::function<void()> changed)
        : context_(context), address_(address), saves_(saves), changed_(std::move(changed)) {}

    /* The ledger is begun anew: tickets go on behind those that were told, and what was open is
     * over. Before bookLoaded. */
    void bookLost(const TicketsTold &tickets, const base::Error &why);
    /* The ledger was read: everything in it is on the disk. */
    void bookLoaded() { keptTicket_ = context_.ledger().nextTicket - 1; }

    /* Keeps the request, then answers with its ticket, then runs it in its turn. */
    void accept(Request request, Answer answer);
    void timerRanOut(const std::string &name);
    /* The agent stopped the timer, or restarted it. */
    void timerStopped(const std::string &name);
    /* Takes out what has its turn. */
    std::optional<Request> takeNext();

  private:
    void accepted(std::uint64_t ticket, const base::Result<void> &saved, const Answer &answer);
    bool mayBegin(const Request &request);

    JobContext &context_;
    AddressWatch &address_;
    const SaveRetries &saves_;
    std::function<void()> changed_;
    std::uint64_t keptTicket_ = 0; // the newest that is on the disk
};

} // namespace service

#endif
