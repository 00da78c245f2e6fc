// SPDX-License-Identifier: MIT
#include "service/jobs/cancellation.h"

#include "service/state/agent_memory_text.h"
#include "service/state/explain.h"

#include <algorithm>
#include <utility>

namespace service {

// A timer's call and a trigger work for the waiting offer: one is not cancelled without the other.
bool Cancellation::runsOrWaits(std::uint64_t ticket) const {
    const Ledger &ledger = context_.ledger();
    if (ticket == 0) {
        return ledger.running || ledger.waiting || ledger.rebootDue || windowIsSpent(ledger) ||
               !context_.deps.timers.armed().empty();
    }
    return (ledger.running && ledger.running->request.ticket == ticket) ||
           (ledger.waiting && ledger.waiting->offer.ticket == ticket);
}

// What it is for has nothing to do with the waiting offer, which goes on.
bool Cancellation::runsForItself(std::uint64_t ticket) const {
    const std::optional<Running> &running = context_.ledger().running;
    if (!running || running->request.ticket != ticket || running->activated) {
        return false;
    }
    return running->request.kind == kActivationTime ||
           (running->request.kind == kNewImage && context_.waitsUntouchedBy(running->request));
}

// What was activated runs by now: it is judged, and no more to be taken back.
bool Cancellation::hasBooted() const {
    const Ledger &ledger = context_.ledger();
    return context_.state == JobState::startingUp && ledger.bootId != context_.deps.bootId &&
           ((ledger.running && ledger.running->activated) ||
            (ledger.waiting && ledger.waiting->activated));
}

void Cancellation::cancel(std::uint64_t ticket, Answer answer) {
    if (runsOrWaits(ticket) && hasBooted()) {
        const auto late = guard::Refusal{
            base::Outcome::notReady, "ticket",
            "the node has booted since, and what runs is judged now; ask again when that has ended"};
        return answer(&late, 0);
    }
    if (runsOrWaits(ticket)) {
        answers_.push_back(std::move(answer));
        if (!std::exchange(underWay_, true)) {
            ticket_ = ticket != 0 ? ticket : context_.status().ticket;
        }
        const bool hostIsEnding = awaitsEndOfHost();
        toForget_ =
            std::max(toForget_, runsForItself(ticket) ? ToForget::running : ToForget::everything);
        return hostIsEnding ? void() : endHost_();
    }
    if (cancelInQueue(ticket, answer)) {
        return;
    }
    const auto nothing = guard::Refusal{
        base::Outcome::nothingToCancel, "ticket",
        ticket == 0 ? "nothing runs and nothing waits"
                    : "no request of ticket " + std::to_string(ticket) + " runs or waits"};
    answer(&nothing, 0);
}

// With 0 the first that waits.
bool Cancellation::cancelInQueue(std::uint64_t ticket, const Answer &answer) {
    auto &queue = context_.ledger().queue;
    const auto found = std::find_if(queue.begin(), queue.end(), [&](const Request &one) {
        return (ticket == 0 || one.ticket == ticket) && one.kind != kTimer;
    });
    if (found == queue.end()) {
        return false;
    }
    const Request request = *found;
    queue.erase(found);
    finishRequest(request, "it had not begun");
    saveAndAnswer({answer}, request.ticket, {});
    context_.deps.board.refresh();
    return true;
}

void Cancellation::finishRequest(const Request &request, const std::string &when) {
    context_.events.finish(request, base::Outcome::cancelled, {when, base::Reason::byOperator});
}

void Cancellation::forgetRequest() {
    Ledger &ledger = context_.ledger();
    if (std::exchange(toForget_, ToForget::nothing) == ToForget::running) {
        finishRequest(ledger.running->request, "while it ran");
        ledger.running.reset();
        return context_.deps.book.save();
    }
    // The call of a timer is the waiting offer's.
    if (ledger.running && ledger.running->request.kind != kTimer) {
        finishRequest(ledger.running->request, "while it ran");
    }
    if (ledger.waiting) {
        finishRequest(ledger.waiting->offer, "while it waited");
    }
    if (!ledger.running && !ledger.waiting) {
        context_.events.record({.event = "cancelled",
                                .outcome = base::Outcome::cancelled,
                                .reasonCode = base::Reason::byOperator,
                                .reason = "what was left of an earlier offer"});
    }
    forgetEverything();
}

void Cancellation::forgetEverything() {
    Ledger &ledger = context_.ledger();
    ledger.running.reset();
    ledger.waiting.reset();
    ledger.timers.clear();
    // An activation time belongs to another request, which came to its end.
    AgentMemoryText memory(ledger.memory);
    const bool timeBySignal = memory.number(AgentMemoryText::kTimeBySignal, 0) != 0;
    memory.forgetTheOffer();
    ledger.memory = timeBySignal ? memory.print() : "";
    ledger.failedDownloads = 0;
    std::erase_if(ledger.queue, [](const Request &one) { return one.kind == kTimer; });
    reboot_.forget();
    context_.deps.book.save();
}

void Cancellation::finish(const base::Result<void> &cleaned) {
    underWay_ = false;
    answer(cleaned);
}

void Cancellation::answer(const base::Result<void> &cleaned) {
    saveAndAnswer(std::exchange(answers_, {}), ticket_, cleaned);
}

// Not before it is kept that the request is over: no start may take it up again.
void Cancellation::saveAndAnswer(std::vector<Answer> answers, std::uint64_t ticket,
                                 const base::Result<void> &cleaned) {
    context_.deps.book.save(
        [answers = std::move(answers), ticket, cleaned](const base::Result<void> &saved) {
            const auto done = cleaned.andThen([&] { return saved; });
            const auto left =
                guard::Refusal{base::Outcome::failed, "cancel", done ? "" : done.error().text};
            for (const Answer &answer : answers) {
                answer(done ? nullptr : &left, ticket);
            }
        });
}

} // namespace service
