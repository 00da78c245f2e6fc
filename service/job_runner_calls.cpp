// SPDX-License-Identifier: MIT
// What the agent tells while its call runs, and what its end means for the request.
#include "service/job_runner.h"

#include "base/message.h"
#include "otaSwAgent/status_words.h"
#include "platform/timers.h"
#include "service/state/agent_memory_text.h"
#include "service/state/clock_words.h"
#include "service/state/deferral.h"

#include <algorithm>

namespace service {

void JobRunner::hostStage(const std::string &stage) {
    if (stage == "idle" && trial_.step == TrialNow::Step::checking) {
        trial_.step = TrialNow::Step::passed;
    }
    if (stage == "downloading") {
        observed_.activating = false; // it failed, and the agent goes on all the same
        observed_.cause = {};
    } else if (stage == "verifying") {
        observed_.downloaded = true;
    } else if (stage == "writing") {
        observed_.wrote = true;
    } else if (stage == "activating") {
        observed_.activating = true;
    } else if (stage == "rebooting" && state_ != State::busy) {
        trial_.step = TrialNow::Step::rebooting;
    } else if (stage == "rebooting" && !observed_.activated) {
        observed_.activated = true;
        awaitReboot();
        if (ledger().running) {
            ledger().running->activated = true;
            deps_.book.save();
        }
    }
    // A call's last word of its stages; what comes of the call tells the next one.
    if (stage == deps_.board.lastStatus().stage ||
        (stage == "idle" && (state_ == State::busy || state_ == State::startingUp))) {
        return;
    }
    // The agent may go on behind the reboot that it asked for; the node goes down.
    if (!observed_.activated || stage == "rebooting") {
        deps_.board.setStage(stage);
    }
    if (ledger().running) {
        tell("stage", ledger().running->request, stage);
    }
}

// One that cannot be kept must not hold up the reboot: the banks tell what happened, too.
void JobRunner::hostActivated(std::function<void()> kept) {
    deps_.book.save([kept = std::move(kept)](const std::string &whatIsWrong) {
        if (!whatIsWrong.empty()) {
            logError(whatIsWrong + "; the activation is not noted down");
        }
        kept();
    });
}

void JobRunner::hostReported(const std::string &word, const std::string &record) {
    observed_.lastWord = word;
    ledger().lastWord = word;
    ledger().lastRecord = record;
    deps_.board.setReport(word, record);
    HistoryLine line = lineOfNow("status");
    line.outcome = outcomeOfWord(word).value_or(base::Outcome::done);
    line.reason = word;
    deps_.eventLog.record(line);
}

void JobRunner::hostHandedOver(const base::Cause &failure) {
    observed_.handedOver = failure.reason == base::Reason::none;
    observed_.notHandedOver = failure;
}

void JobRunner::hostDone(const cJSON &message) {
    const std::string what = base::textOf(&message, "done");
    const std::string failed = base::textOf(&message, "failed");
    if (!failed.empty()) {
        logError("the host could not do all of \"" + what + "\": " + failed);
    }
    switch (state_) {
    case State::startingUp:
        return startUpDone(message);
    case State::restoring:
        return goOn();
    case State::abandoning:
        cancelling_ = false;
        gaveUp_ = false;
        answerCancels(failed);
        return restoreMemory();
    case State::commanding:
        state_ = State::idle;
        commandDone(failed);
        return becomeIdle();
    case State::busy:
        hostCrashes_ = 0;
        return endSeries(message) ? void() : callDone(message);
    case State::off:
    case State::idle:
    case State::keeping:
        break;
    }
    hostIsWrong("it reports the end of \"" + what + "\", which it was not asked for");
}

void JobRunner::callDone(const cJSON &message) {
    Running ended = *ledger().running;
    const AgentMemoryText before(ledger().memory);
    ended.activated = ended.activated || observed_.activated;
    ledger().rebootDue = ledger().rebootDue || ended.activated;
    ledger().running.reset();
    ledger().memory = base::printed(cJSON_GetObjectItemCaseSensitive(&message, "memory"));
    ledger().timers = deps_.timers.armed();
    countDownloads();
    if (observed_.cause.attempt != 0) { // the agent's own count ends with its process
        observed_.cause.attempt = observed_.lastWord == OTA_STATUS_RECONNECT
                                      ? Ledger::kMaxFailedDownloads
                                      : ledger().failedDownloads;
    }
    const Request &request = ended.request;
    const bool putOff = base::numberOf(&message, "deferred") != 0;
    if (request.kind == kNewImage) {
        offerDone(request, ended);
    } else if (request.kind == kActivationTime) {
        finish(request, base::Outcome::done, {base::Reason::none, governedWords()});
    } else {
        if (request.kind != kTimer) {
            finishTrigger(request, before);
        }
        standingGoesOn(ended, putOff);
    }
    // The agent never takes its mark back; of another offer it would be said, too.
    forgetDeferral_ =
        forgetDeferral_ || (putOff && !(ledger().standing && ledger().standing->deferred));
    deps_.book.save();
    if (observed_.toldLastAttempt) {
        return renewHost();
    }
    becomeIdle();
}

// The agent says nothing of a trigger that it passes over.
void JobRunner::finishTrigger(const Request &trigger, const AgentMemoryText &before) {
    const bool go = base::numberOf(base::parsed(trigger.event).get(), "newswavailflag") == 1;
    if (go && before.number(AgentMemoryText::kTriggerTooLate, 0) != 0) {
        return finish(trigger, base::Outcome::windowSpent,
                      {base::Reason::windowUsedUp,
                       "the half hour had run out before the mobile app's trigger came"});
    }
    // Of the last offer, whose ticket has ended: the agent takes it up once more.
    const bool wentOn = go && !ledger().standing &&
                        (endsTheRequest(observed_) || observed_.wrote ||
                         observed_.cause.reason != base::Reason::none);
    if (wentOn && !timersAwaited() && !ledger().rebootDue) {
        return finish(trigger, outcomeOfCall(observed_), causeOfCall(observed_));
    }
    finish(trigger, base::Outcome::done,
           {base::Reason::none, ledger().standing || wentOn || ledger().rebootDue
                                    ? "the agent has the trigger"
                                    : "the agent has the trigger, and nothing waited for it"});
}

// Its image is in the passive bank for its time, and the call that is over changed nothing of that.
bool JobRunner::standsUntouched(const Request &by) const {
    const std::optional<WaitingOffer> &standing = deps_.book.ledger().standing;
    return standing && !standing->activated && !standing->deferred &&
           standing->offer.version != by.version &&
           passiveVersion(deps_.board.lastStatus()) == standing->offer.version && timersAwaited();
}

// A reboot or a timer may still be awaited; else the offer is over.
void JobRunner::offerDone(const Request &offer, const Running &ended) {
    if (windowWasSpent_ && !ended.activated &&
        outcomeOfCall(observed_) == base::Outcome::interruptedNothingKnown) {
        return passedOver(offer);
    }
    if (!ended.activated && !observed_.armedTimer && standsUntouched(offer)) {
        return finish(offer, outcomeOfCall(observed_), causeOfCall(observed_));
    }
    supersedeStanding(offer);
    const bool awaited = ended.activated || timersAwaited();
    if (awaited && !endsTheRequest(observed_)) {
        ledger().standing =
            WaitingOffer{offer, ended.bank, ended.activated, false, ended.failedTrials};
        return tellFailedAttempt(offer);
    }
    finish(offer, outcomeOfCall(observed_), causeOfCall(observed_));
}

// The waiting offer goes on waiting, unless this one took away what it waited for: the agent
// stops a pending download before it passes an offer over.
void JobRunner::passedOver(const Request &offer) {
    finish(offer, base::Outcome::windowSpent,
           {base::Reason::windowUsedUp,
            "the half hour of an earlier offer ended with its trigger, and the agent still takes "
            "it for open"});
    const std::optional<WaitingOffer> &standing = ledger().standing;
    if (standing && !standing->activated && !standing->deferred && !timersAwaited()) {
        supersedeStanding(offer);
    }
}

// A timer or the mobile app moved the waiting offer.
void JobRunner::standingGoesOn(const Running &ended, bool putOff) {
    if (!ledger().standing) {
        return;
    }
    WaitingOffer &standing = *ledger().standing;
    if (ended.activated) {
        standing.activated = true;
        standing.bank = ended.bank;
    } else if (endsTheRequest(observed_)) {
        finish(standing.offer, outcomeOfCall(observed_), causeOfCall(observed_));
        ledger().standing.reset();
    } else if (!timersAwaited()) {
        if (putOff && !observed_.wrote && !observed_.handedOver &&
            sentenceOfCall(observed_).empty()) {
            standing.deferred = true;
            tellPutOff(standing.offer);
            return settingsChanged_ ? settingsChanged() : void();
        }
        finish(standing.offer, outcomeOfCall(observed_), causeOfCall(observed_));
        ledger().standing.reset();
    } else {
        tellFailedAttempt(standing.offer);
    }
}

void JobRunner::tellPutOff(const Request &offer) {
    const NodeStatus &status = deps_.board.lastStatus();
    HistoryLine line = lineOf("deferred", offer);
    line.outcome = base::Outcome::deferred;
    line.reasonCode = isPutOffByMode(status) ? base::Reason::notAGateway : base::Reason::onboarding;
    line.reason = whyPutOff(status);
    line.next = "taken up " + whenTakenUp(status);
    deps_.eventLog.record(line);
}

// What a new activation time is for.
std::string JobRunner::governedWords() const {
    const AgentMemoryText memory(deps_.book.ledger().memory);
    const std::string time = memory.namedTime();
    if (time.empty()) {
        return "the agent was given no time: the one that it had stays";
    }
    const auto &armed = deps_.timers.armed();
    const bool reboots = std::any_of(armed.begin(), armed.end(), [](const ArmedTimer &timer) {
        return timer.name == TIMER_REBOOT;
    });
    if (const Request *const offer = currentOffer(); offer != nullptr && reboots) {
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

// Of a download that is tried again.
void JobRunner::tellFailedAttempt(const Request &offer) {
    if (observed_.cause.attempt == 0) {
        return;
    }
    HistoryLine line = lineOf(base::kAttemptFailed, offer);
    line.outcome = base::Outcome::waiting;
    line.reasonCode = observed_.cause.reason;
    line.reason = attemptWords(observed_.cause);
    for (const ArmedTimer &timer : deps_.timers.armed()) {
        if (timer.name == TIMER_DOWNLOAD_RETRY) {
            line.next = "the next attempt starts at " + timeOfDay(timer.endsAt);
        }
    }
    deps_.board.setWaitReason(base::rowOf(line.reasonCode).name, line.reason);
    deps_.eventLog.record(line);
}

void JobRunner::supersedeStanding(const Request &by) {
    if (ledger().standing) {
        finish(ledger().standing->offer, base::Outcome::superseded,
               {base::Reason::laterRequest,
                "ticket " + std::to_string(by.ticket) + " took its place"});
        ledger().standing.reset();
    }
}

void JobRunner::hostTellsCause(const cJSON &message) {
    if (const auto cause = causeIn(message)) {
        observed_.cause = *cause;
    }
}

void JobRunner::hostTellsLastWords(const cJSON &message) {
    if (const auto cause = causeIn(message)) {
        lastWords_ = *cause;
    }
}

std::optional<base::Cause> JobRunner::causeIn(const cJSON &message) {
    const base::ReasonRow *const row = base::rowOfReason(base::textOf(&message, "reason"));
    if (row == nullptr) {
        hostIsWrong("it names a reason that is not known");
        return std::nullopt;
    }
    return base::Cause{row->reason, base::textOf(&message, "text"),
                       base::numberOf(&message, "attempt")};
}

// Without a reason it is the one that the outcome has as a rule.
void JobRunner::finish(const Request &request, base::Outcome outcome, base::Cause cause) {
    if (cause.reason == base::Reason::none) {
        cause.reason = base::usualReason(outcome);
    }
    const base::OutcomeRow &row = base::rowOf(outcome);
    const base::ReasonRow &because = base::rowOf(cause.reason);
    HistoryLine line =
        lineOf(outcome == base::Outcome::cancelled ? "cancelled" : "finished", request);
    line.outcome = outcome;
    line.reasonCode = cause.reason;
    line.reason = cause.sentence;
    line.next = cause.reason == base::Reason::none ? row.remedy : because.remedy;
    deps_.eventLog.record(line);
    const base::End end = base::endOf(request.ticket, outcome, cause);
    deps_.board.setLastEnd(end);
    deps_.bus.raiseFinished(end);
}

void JobRunner::tell(const std::string &event, const Request &request, const std::string &reason,
                     const std::string &next) {
    HistoryLine line = lineOf(event, request);
    line.reason = reason;
    line.next = next;
    deps_.eventLog.record(line);
}

HistoryLine JobRunner::lineOf(const std::string &event, const Request &request) {
    HistoryLine line;
    line.event = event;
    line.ticket = request.ticket;
    line.version = request.version;
    return line;
}

HistoryLine JobRunner::lineOfNow(const std::string &event) const {
    const NodeStatus &status = deps_.board.lastStatus();
    Request now;
    now.ticket = status.ticket;
    now.version = status.version;
    return lineOf(event, now);
}

} // namespace service
