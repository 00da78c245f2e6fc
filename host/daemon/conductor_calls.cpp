// SPDX-License-Identifier: MIT
// What the agent tells while its call runs, and what its end means for the request.
#include "host/daemon/conductor.h"

#include "host/daemon/keep/deferral.h"
#include "host/message.h"

namespace otad {

void Conductor::hostStage(const std::string &stage) {
    if (stage == "idle" && trial_.step == TrialNow::Step::checking) {
        trial_.step = TrialNow::Step::passed;
    }
    if (stage == "verifying") {
        witness_.downloaded = true;
    } else if (stage == "writing") {
        witness_.wrote = true;
    } else if (stage == "activating") {
        witness_.activating = true;
    } else if (stage == "rebooting" && state_ != State::busy) {
        trial_.step = TrialNow::Step::rebooting;
    } else if (stage == "rebooting" && !witness_.activated) {
        witness_.activated = true;
        awaitReboot();
        if (ledger().running) {
            ledger().running->activated = true;
            with_.book.save();
        }
    }
    if (stage == with_.board.lastStatus().stage) {
        return;
    }
    with_.board.setStage(stage);
    if (ledger().running && stage != "idle") {
        tell("stage", ledger().running->request, stage);
    }
}

// One that cannot be kept must not hold up the reboot: the banks tell what happened, too.
void Conductor::hostActivated(std::function<void()> kept) {
    with_.book.save([kept = std::move(kept)](const std::string &whatIsWrong) {
        if (!whatIsWrong.empty()) {
            logError(whatIsWrong + "; the activation is not noted down");
        }
        kept();
    });
}

void Conductor::hostReported(const std::string &word, const std::string &record) {
    witness_.lastWord = word;
    ledger().lastWord = word;
    ledger().lastRecord = record;
    with_.board.setReport(word, record);
    HistoryLine line;
    line.event = "status";
    line.ticket = with_.board.lastStatus().ticket;
    line.version = with_.board.lastStatus().version;
    line.outcome = outcomeOfWord(word).value_or(host::Outcome::done);
    line.reason = word;
    with_.chronicle.tell(line);
}

void Conductor::hostHandedOver(const std::string &whatIsWrong) {
    witness_.handedOver = whatIsWrong.empty();
    witness_.notHandedOver = whatIsWrong;
}

void Conductor::hostDone(const cJSON &message) {
    const std::string what = host::textOf(&message, "done");
    const std::string failed = host::textOf(&message, "failed");
    if (!failed.empty()) {
        logError("the host could not do all of \"" + what + "\": " + failed);
    }
    with_.board.setDeferred(host::numberOf(&message, "deferred") != 0);
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
    case State::choring:
        state_ = State::idle;
        choreDone(failed);
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

void Conductor::callDone(const cJSON &message) {
    with_.board.setStage("");
    Running ended = *ledger().running;
    const AgentMemoryText before(ledger().memory);
    windowWasSpent_ = windowIsSpent(ledger());
    ended.activated = ended.activated || witness_.activated;
    rebootDue_ = rebootDue_ || ended.activated;
    ledger().running.reset();
    ledger().memory = host::printed(cJSON_GetObjectItemCaseSensitive(&message, "memory"));
    ledger().timers = with_.timers.armed();
    countDownloads();
    const Request &request = ended.request;
    if (request.kind == kNewImage) {
        offerDone(request, ended);
    } else if (request.kind == kActivationTime) {
        finish(request, host::Outcome::done, "the agent has the time");
    } else {
        if (request.kind != kTimer) {
            finishTrigger(request, before);
        }
        standingGoesOn(ended);
    }
    with_.book.save();
    if (witness_.toldLastAttempt) {
        return renewHost();
    }
    becomeIdle();
}

// The agent says nothing of a trigger that it passes over.
void Conductor::finishTrigger(const Request &trigger, const AgentMemoryText &before) {
    const bool go = host::numberOf(host::parsed(trigger.event).get(), "newswavailflag") == 1;
    if (go && before.number(AgentMemoryText::kTriggerTooLate, 0) != 0) {
        return finish(trigger, host::Outcome::windowSpent,
                      "the half hour had run out before the mobile app's trigger came");
    }
    finish(trigger, host::Outcome::done, "the agent has the trigger");
}

// A reboot or a timer may still be awaited; else the offer is over.
void Conductor::offerDone(const Request &offer, const Running &ended) {
    const bool awaited = ended.activated || timersAwaited();
    if (awaited && !endsTheRequest(witness_)) {
        ledger().standing = Standing{offer, ended.bank, ended.activated, false, ended.failedTrials};
        return;
    }
    const host::Outcome outcome = outcomeOfCall(witness_);
    if (outcome == host::Outcome::interruptedNothingKnown && windowWasSpent_) {
        return finish(
            offer, host::Outcome::windowSpent,
            "the half hour of an earlier offer ended with its trigger, and the agent still "
            "takes it for open");
    }
    finish(offer, outcome, sentenceOfCall(witness_));
}

// A timer or the mobile app moved the offer that stands.
void Conductor::standingGoesOn(const Running &ended) {
    if (!ledger().standing) {
        return;
    }
    Standing &standing = *ledger().standing;
    if (ended.activated) {
        standing.activated = true;
        standing.bank = ended.bank;
    } else if (endsTheRequest(witness_)) {
        finish(standing.offer, outcomeOfCall(witness_), sentenceOfCall(witness_));
        ledger().standing.reset();
    } else if (!timersAwaited()) {
        if (with_.board.lastStatus().deferred && !witness_.wrote && !witness_.handedOver &&
            sentenceOfCall(witness_).empty()) {
            standing.deferred = true;
            tell("deferred", standing.offer, whyPutOff(with_.board.lastStatus()),
                 "taken up " + whenTakenUp(with_.board.lastStatus()));
            return settingsChanged_ ? settingsChanged() : void();
        }
        finish(standing.offer, outcomeOfCall(witness_), sentenceOfCall(witness_));
        ledger().standing.reset();
    }
}

void Conductor::supersedeStanding() {
    if (ledger().standing) {
        finish(ledger().standing->offer, host::Outcome::superseded,
               "ticket " + std::to_string(ledger().running->request.ticket) + " took its place");
        ledger().standing.reset();
    }
}

void Conductor::finish(const Request &request, host::Outcome outcome, const std::string &reason) {
    HistoryLine line;
    line.event = outcome == host::Outcome::cancelled ? "cancelled" : "finished";
    line.ticket = request.ticket;
    line.version = request.version;
    line.outcome = outcome;
    line.reason = reason;
    line.next = host::rowOf(outcome).remedy;
    with_.chronicle.tell(line);
    with_.bus.raiseFinished(request.ticket, host::rowOf(outcome), reason);
    lastFinished_ = "ticket " + std::to_string(request.ticket) +
                    (request.version.empty() ? "" : ", " + request.version) + ": " +
                    host::rowOf(outcome).meaning + (reason.empty() ? "" : " (" + reason + ")");
}

void Conductor::tell(const std::string &event, const Request &request, const std::string &reason,
                     const std::string &next) {
    HistoryLine line;
    line.event = event;
    line.ticket = request.ticket;
    line.version = request.version;
    line.reason = reason;
    line.next = next;
    with_.chronicle.tell(line);
}

} // namespace otad
