// SPDX-License-Identifier: MIT
#include "service/jobs/job_queue.h"

#include <algorithm>
#include <utility>

namespace service {
namespace {

constexpr std::size_t kLongestQueue = 16;

} // namespace

// One ticket given twice would end whoever waits for it with the end of another request.
void JobQueue::bookLost(const TicketsTold &tickets, const base::Error &why) {
    context_.ledger().nextTicket = tickets.last() + 1;
    for (const auto &[ticket, version] : tickets.open()) {
        Request request;
        request.ticket = ticket;
        request.version = version;
        context_.events.finish(request, base::Outcome::lost,
                               why.within("what was kept of it is gone: "));
    }
}

void JobQueue::accept(Request request, Answer answer) {
    Ledger &ledger = context_.ledger();
    if (ledger.queue.size() >= kLongestQueue) {
        const auto full = guard::Refusal{base::Outcome::queueFull, "queue",
                                         std::to_string(kLongestQueue) + " requests wait already"};
        return answer(&full, 0);
    }
    const std::uint64_t ticket = request.ticket = ledger.nextTicket++;
    ledger.queue.push_back(std::move(request));
    context_.deps.book.save(
        [this, ticket, answer = std::move(answer)](const base::Result<void> &saved) {
            accepted(ticket, saved, answer);
        });
}

// It is kept, or cannot be.
void JobQueue::accepted(std::uint64_t ticket, const base::Result<void> &saved,
                        const Answer &answer) {
    auto &queue = context_.ledger().queue;
    const auto mine = std::find_if(queue.begin(), queue.end(),
                                   [&](const Request &one) { return one.ticket == ticket; });
    if (saved) {
        if (mine != queue.end()) {
            context_.events.record("accepted", *mine);
        }
        keptTicket_ = ticket;
        answer(nullptr, ticket);
    } else {
        if (mine != queue.end()) {
            queue.erase(mine);
            context_.deps.book.save(); // a later write may have taken it along
        }
        const auto notKept = guard::Refusal{base::Outcome::notKept, "request", saved.error().text};
        answer(&notKept, 0);
    }
    context_.deps.board.refresh();
    changed_();
}

void JobQueue::timerRanOut(const std::string &name) {
    Ledger &ledger = context_.ledger();
    Request expiry = context_.expiryOf(name);
    context_.events.record("timer-ran-out", expiry, name);
    // Not both: kept as armed and as expired, it would run out twice after a crash.
    std::erase_if(ledger.timers, [&](const ArmedTimer &timer) { return timer.name == name; });
    ledger.queue.push_back(std::move(expiry));
    context_.deps.book.save();
    context_.deps.board.refresh();
    changed_();
}

// It may have run out while the agent was busy: then it waits in the queue, and must not fire.
void JobQueue::timerStopped(const std::string &name) {
    std::erase_if(context_.ledger().queue,
                  [&](const Request &one) { return one.kind == kTimer && timerOf(one) == name; });
    context_.deps.board.refresh();
}

// A timer that ran out waits for the agent alone: not behind a request that waits for more.
std::optional<Request> JobQueue::takeNext() {
    auto &queue = context_.ledger().queue;
    auto next = queue.begin();
    if (next != queue.end() && !mayBegin(*next)) {
        next = std::find_if(queue.begin(), queue.end(),
                            [](const Request &one) { return one.kind == kTimer; });
    }
    if (next == queue.end()) {
        return std::nullopt;
    }
    Request request = std::move(*next);
    queue.erase(next);
    return request;
}

bool JobQueue::mayBegin(const Request &request) {
    return request.kind == kTimer ||
           (request.ticket <= keptTicket_ && saves_.failures() == 0 && !address_.mustWait(request));
}

} // namespace service
