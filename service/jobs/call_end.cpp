// SPDX-License-Identifier: MIT
#include "service/jobs/call_end.h"

#include "base/json.h"
#include "otaSwAgent/status_words.h"
#include "platform/timers.h"

#include <algorithm>
#include <ctime>

namespace service {
namespace {

// "hh:mm:ss" on the node's local clock; empty where it has none.
std::string timeOfDay(std::time_t moment) {
    std::tm local{};
    char clock[sizeof "hh:mm:ss"]{};
    const bool known = localtime_r(&moment, &local) != nullptr &&
                       std::strftime(clock, sizeof clock, "%H:%M:%S", &local) != 0;
    return known ? clock : "";
}

// What a new activation time is for.
std::string governedWords(const JobContext &context) {
    const AgentMemoryText memory(context.ledger().memory);
    const std::string time = memory.namedTime();
    if (time.empty()) {
        return "the agent was given no time: the one that it had stays";
    }
    const auto &armed = context.deps.timers.armed();
    const bool reboots = std::any_of(armed.begin(), armed.end(), [](const ArmedTimer &timer) {
        return timer.name == TIMER_REBOOT;
    });
    if (const Request *const offer = context.currentOffer(); offer != nullptr && reboots) {
        const std::string image =
            offer->version + " (ticket " + std::to_string(offer->ticket) + ")";
        return memory.number(AgentMemoryText::kNoWindowBeforeSwap, 1) == 0
                   ? image + " is activated when its half hour ends, as before: " + time +
                         " governs the next image of policy 0"
                   : image + " is activated at " + time;
    }
    return "nothing waits for its activation: " + time +
           " governs the next image of policy 0, until the node boots or another time is named";
}

} // namespace

void CallEnd::take(const cJSON &message) {
    const AgentMemoryText before(context_.ledger().memory);
    const Running ended = closeCall(message);
    const Request &request = ended.request;
    const bool putOff = base::numberOf(&message, "deferred") != 0;
    if (request.kind == kNewImage) {
        offerEnded(request, ended);
    } else if (request.kind == kActivationTime) {
        context_.events.finish(request, base::Outcome::done, {governedWords(context_)});
    } else {
        if (request.kind != kTimer) {
            finishTrigger(request, before);
        }
        waitingGoesOn(ended, putOff);
    }
    deferred_.callEnded(putOff);
    context_.deps.book.save();
}

// In the ledger nothing runs any more, and timers and memory are those from behind the call.
Running CallEnd::closeCall(const cJSON &message) {
    Ledger &ledger = context_.ledger();
    Running ended = *ledger.running;
    ended.activated = ended.activated || context_.observed.activated;
    ledger.rebootDue = ledger.rebootDue || ended.activated;
    ledger.running.reset();
    ledger.memory = base::printed(base::itemOf(&message, "memory"));
    ledger.timers = context_.deps.timers.armed();
    series_.count();
    base::Error &cause = context_.observed.cause;
    if (cause.attempt != 0) { // the agent's own count ends with its process
        cause.attempt = context_.observed.lastWord == OTA_STATUS_RECONNECT
                            ? Ledger::kMaxFailedDownloads
                            : ledger.failedDownloads;
    }
    return ended;
}

void CallEnd::finishByCall(const Request &request) {
    context_.events.finish(request, outcomeOfCall(context_.observed),
                           causeOfCall(context_.observed));
}

// The agent says nothing of a trigger that it passes over.
void CallEnd::finishTrigger(const Request &trigger, const AgentMemoryText &before) {
    const Ledger &ledger = context_.ledger();
    const CallObserver &observed = context_.observed;
    const bool go = base::numberOf(base::parsed(trigger.event).get(), "newswavailflag") == 1;
    if (go && before.number(AgentMemoryText::kTriggerTooLate, 0) != 0) {
        return context_.events.finish(
            trigger, base::Outcome::windowSpent,
            {"the half hour had run out before the mobile app's trigger came",
             base::Reason::windowUsedUp});
    }
    // Of the last offer, whose ticket has ended: the agent takes it up once more.
    const bool wentOn =
        go && !ledger.waiting &&
        (endsTheRequest(observed) || observed.wrote || observed.cause.reason != base::Reason::none);
    if (wentOn && !context_.awaitsTimer() && !ledger.rebootDue) {
        return finishByCall(trigger);
    }
    context_.events.finish(trigger, base::Outcome::done,
                           {ledger.waiting || wentOn || ledger.rebootDue
                                ? "the agent has the trigger"
                                : "the agent has the trigger, and nothing waited for it"});
}

// A reboot or a timer may still be awaited; else the offer is over.
void CallEnd::offerEnded(const Request &offer, const Running &ended) {
    const CallObserver &observed = context_.observed;
    if (observed.windowWasSpent && !ended.activated &&
        outcomeOfCall(observed) == base::Outcome::interruptedNothingKnown) {
        return passedOver(offer);
    }
    if (!ended.activated && !observed.armedTimer && context_.waitsUntouchedBy(offer)) {
        return finishByCall(offer);
    }
    supersedeWaiting(offer);
    const bool awaited = ended.activated || context_.awaitsTimer();
    if (awaited && !endsTheRequest(observed)) {
        context_.ledger().waiting =
            WaitingOffer{offer, ended.bank, ended.activated, false, ended.failedTrials};
        return recordFailedAttempt(offer);
    }
    finishByCall(offer);
}

// The waiting offer goes on waiting, unless this one took away what it waited for: the agent stops
// a pending download before it passes an offer over.
void CallEnd::passedOver(const Request &offer) {
    context_.events.finish(
        offer, base::Outcome::windowSpent,
        {"the half hour of an earlier offer ended with its trigger, and the agent still takes "
         "it for open",
         base::Reason::windowUsedUp});
    const std::optional<WaitingOffer> &waiting = context_.ledger().waiting;
    if (waiting && !waiting->activated && !waiting->deferred && !context_.awaitsTimer()) {
        supersedeWaiting(offer);
    }
}

// A timer or the mobile app moved the waiting offer.
void CallEnd::waitingGoesOn(const Running &ended, bool putOff) {
    if (!context_.ledger().waiting) {
        return;
    }
    const CallObserver &observed = context_.observed;
    WaitingOffer &waiting = *context_.ledger().waiting;
    if (ended.activated) {
        waiting.activated = true;
        waiting.bank = ended.bank;
    } else if (!endsTheRequest(observed) && context_.awaitsTimer()) {
        recordFailedAttempt(waiting.offer);
    } else if (!endsTheRequest(observed) && putOff && !observed.wrote && !observed.handedOver &&
               sentenceOfCall(observed).empty()) {
        deferred_.putOff();
    } else {
        finishByCall(waiting.offer);
        context_.ledger().waiting.reset();
    }
}

void CallEnd::supersedeWaiting(const Request &by) {
    std::optional<WaitingOffer> &waiting = context_.ledger().waiting;
    if (waiting) {
        context_.events.finish(waiting->offer, base::Outcome::superseded,
                               {"ticket " + std::to_string(by.ticket) + " took its place",
                                base::Reason::laterRequest});
        waiting.reset();
    }
}

// Of a download that is tried again.
void CallEnd::recordFailedAttempt(const Request &offer) {
    const base::Error &cause = context_.observed.cause;
    if (cause.attempt == 0) {
        return;
    }
    HistoryLine line = JobEvents::lineOf(base::kAttemptFailed, offer);
    line.outcome = base::Outcome::waiting;
    line.reasonCode = cause.reason;
    line.reason = attemptWords(cause);
    for (const ArmedTimer &timer : context_.deps.timers.armed()) {
        if (timer.name == TIMER_DOWNLOAD_RETRY) {
            line.next = "the next attempt starts at " + timeOfDay(timer.endsAt);
        }
    }
    context_.deps.board.setWaitReason(base::rowOf(line.reasonCode).name, line.reason);
    context_.events.record(line);
}

} // namespace service
