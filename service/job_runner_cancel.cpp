// SPDX-License-Identifier: MIT
// Requests that are ended before their time.
#include "service/job_runner.h"

#include "service/state/agent_memory_text.h"

#include <algorithm>
#include <utility>

namespace service {

// A timer's call and a trigger work for the waiting offer: one is not cancelled without the
// other.
bool JobRunner::runsOrStands(std::uint64_t ticket) const {
    const Ledger &ledger = deps_.book.ledger();
    if (ticket == 0) {
        return ledger.running || ledger.standing || ledger.rebootDue || windowIsSpent(ledger) ||
               !deps_.timers.armed().empty();
    }
    return (ledger.running && ledger.running->request.ticket == ticket) ||
           (ledger.standing && ledger.standing->offer.ticket == ticket);
}

// What it is for has nothing to do with the waiting offer, which goes on.
bool JobRunner::runsForItself(std::uint64_t ticket) const {
    const std::optional<Running> &running = deps_.book.ledger().running;
    if (!running || running->request.ticket != ticket || running->activated) {
        return false;
    }
    return running->request.kind == kActivationTime ||
           (running->request.kind == kNewImage && standsUntouched(running->request));
}

// What was activated runs by now: it is judged, and no more to be taken back.
bool JobRunner::hasBooted() const {
    const Ledger &ledger = deps_.book.ledger();
    return state_ == State::startingUp && ledger.bootId != deps_.bootId &&
           ((ledger.running && ledger.running->activated) ||
            (ledger.standing && ledger.standing->activated));
}

void JobRunner::cancel(std::uint64_t ticket, Answer answer) {
    if (runsOrStands(ticket) && hasBooted()) {
        const auto late = guard::Refusal{
            base::Outcome::notReady, "ticket",
            "the node has booted since, and what runs is judged now; ask again when that has ended"};
        return answer(&late, 0);
    }
    if (runsOrStands(ticket)) {
        cancelAnswers_.push_back(std::move(answer));
        if (!std::exchange(cancelling_, true)) {
            cancelled_ = ticket != 0 ? ticket : deps_.board.lastStatus().ticket;
        }
        const bool awaitsEnd = toForget_ != ToForget::nothing;
        toForget_ =
            std::max(toForget_, runsForItself(ticket) ? ToForget::running : ToForget::everything);
        if (!awaitsEnd && host_.running()) {
            host_.kill(); // its end comes from the loop
        } else if (!awaitsEnd) {
            hostEnded("");
        }
        return;
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
bool JobRunner::cancelInQueue(std::uint64_t ticket, const Answer &answer) {
    auto &queue = ledger().queue;
    const auto found = std::find_if(queue.begin(), queue.end(), [&](const Request &one) {
        return (ticket == 0 || one.ticket == ticket) && one.kind != kTimer;
    });
    if (found == queue.end()) {
        return false;
    }
    const Request request = *found;
    queue.erase(found);
    finish(request, base::Outcome::cancelled, {base::Reason::byOperator, "it had not begun"});
    saveAndAnswer({answer}, request.ticket, "");
    deps_.board.refresh();
    return true;
}

// The host was killed for it: nothing of the request may come back.
void JobRunner::forgetCancelled() {
    if (std::exchange(toForget_, ToForget::nothing) == ToForget::running) {
        finish(ledger().running->request, base::Outcome::cancelled,
               {base::Reason::byOperator, "while it ran"});
        ledger().running.reset();
        return deps_.book.save();
    }
    // The call of a timer is the waiting offer's.
    if (ledger().running && ledger().running->request.kind != kTimer) {
        finish(ledger().running->request, base::Outcome::cancelled,
               {base::Reason::byOperator, "while it ran"});
    }
    if (ledger().standing) {
        finish(ledger().standing->offer, base::Outcome::cancelled,
               {base::Reason::byOperator, "while it waited"});
    }
    if (!ledger().running && !ledger().standing) {
        HistoryLine line;
        line.event = "cancelled";
        line.outcome = base::Outcome::cancelled;
        line.reasonCode = base::Reason::byOperator;
        line.reason = "what was left of an earlier offer";
        deps_.eventLog.record(line);
    }
    ledger().running.reset();
    ledger().standing.reset();
    ledger().timers.clear();
    // Behind an activation time stands another request, which came to its end.
    AgentMemoryText memory(ledger().memory);
    const bool timeBySignal = memory.number(AgentMemoryText::kTimeBySignal, 0) != 0;
    memory.forgetTheOffer();
    ledger().memory = timeBySignal ? memory.print() : "";
    ledger().failedDownloads = 0;
    std::erase_if(ledger().queue, [](const Request &one) { return one.kind == kTimer; });
    forgetReboot();
    deps_.book.save();
}

// Ended it is in any case; what could not be cleaned away is told to whoever asked.
void JobRunner::answerCancels(const std::string &whatIsLeft) {
    std::vector<Answer> answers;
    answers.swap(cancelAnswers_);
    saveAndAnswer(std::move(answers), cancelled_, whatIsLeft);
}

// Not before it is kept that the request is over: no start may take it up again.
void JobRunner::saveAndAnswer(std::vector<Answer> answers, std::uint64_t ticket,
                              const std::string &whatIsLeft) {
    deps_.book.save(
        [answers = std::move(answers), ticket, whatIsLeft](const std::string &whatIsWrong) {
            const auto left = guard::Refusal{base::Outcome::failed, "cancel",
                                             whatIsLeft.empty() ? whatIsWrong : whatIsLeft};
            for (const Answer &answer : answers) {
                answer(left.reason.empty() ? nullptr : &left, ticket);
            }
        });
}

} // namespace service
