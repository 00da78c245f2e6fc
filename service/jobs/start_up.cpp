// SPDX-License-Identifier: MIT
#include "service/jobs/start_up.h"

#include "base/bank_note.h"
#include "base/json.h"
#include "service/event_log.h"
#include "service/state/deferral.h"
#include "service/state/recheck.h"

#include <ctime>
#include <utility>

namespace service {

BootFacts StartUp::facts() const {
    return {.bootId = context_.deps.bootId,
            .activeBank = context_.deps.board.activeBank(),
            .runningVersion = context_.deps.board.runningVersion(),
            .bootNowMs = bootNowMs(),
            .wallNow = std::time(nullptr),
            .passiveVersion = passiveVersion(context_.status()),
            .failedVersions = context_.status().failedVersions};
}

void StartUp::hostTellsBanks(const cJSON &message) {
    const auto banks = base::takeBankNote(&message);
    if (!banks) {
        return logError(banks.error().text);
    }
    context_.deps.board.setBanks(*banks);
    if (!banks->hasTrial && !std::exchange(toldNoTrials_, true)) {
        logWarning(
            "the platform has no trials: what is activated is not watched, see otactl explain");
    }
    if (context_.state == JobState::startingUp) {
        recordBoot();
    }
}

// Before everything that comes of it: as soon as it is known which bank booted.
void StartUp::recordBoot() {
    if (context_.ledger().bootId == context_.deps.bootId || std::exchange(bootRecorded_, true)) {
        return;
    }
    context_.events.record({.event = "boot",
                            .version = context_.deps.board.runningVersion(),
                            .reason = "bank " + context_.deps.board.activeBank()});
}

void StartUp::takeUp(const cJSON &message, bool cancelled) {
    parts_.host.hasStarted();
    recordBoot(); // where no banks could be told
    const BootFacts now = facts();
    context_.deps.board.lookAtAddress();
    Ledger &ledger = context_.ledger();
    ResumePlan plan = planResume(ledger, now);
    waitingIsNew_ = true;
    recheck(plan, context_.judge());
    ledger = resumed(ledger, plan, now);
    context_.deps.timers.restore(plan.timers);
    finishWhatEnded(plan);
    gaveUp_ = gaveUp_ || plan.takeBack;
    beginAnew_ = plan.beginAnew && plan.redo;
    givesUp_ = false;
    notGivenUp_.clear();
    // Also of a fresh agent: a call that breaks off begins again with the times that it knew.
    agentIsFresh_ = ledger.memory.empty();
    if (agentIsFresh_) {
        ledger.memory = base::printed(base::itemOf(&message, "memory"));
    }
    if (gaveUp_) {
        parts_.reboot.forget(); // the bank that runs boots next
    }
    if (cancelled || gaveUp_) {
        context_.state = JobState::abandoning;
        return parts_.host.send(base::message({{"event", "abandon"}}));
    }
    restoreMemory();
}

void StartUp::finishWhatEnded(const ResumePlan &plan) {
    if (plan.decided) {
        finishBooted(*plan.decided, plan);
    }
    for (const Finished &finished : plan.finished) {
        context_.events.finish(finished.request, finished.outcome,
                               {finished.reason, finished.cause});
        gaveUp_ = gaveUp_ || finished.outcome == base::Outcome::hostCrashed;
    }
    for (const guard::Refusal &refusal : plan.dropped) {
        context_.events.refuse(Request{}, refusal);
    }
}

// The commit check has its say; policy 3 leaves no mark for it, so the bank itself tells.
void StartUp::finishBooted(const Request &offer, const ResumePlan &plan) {
    const std::string &said = context_.observed.lastWord;
    const TrialNow &trial = parts_.trial.now();
    const auto word = outcomeOfWord(said);
    const auto because = [&](base::Outcome outcome) {
        return outcome == base::Outcome::commitFailed ? plan.cause : base::Reason::none;
    };
    if (plan.awaitCommitWord && word) {
        const std::string why = plan.trialFailure.empty() ? "" : "; " + plan.trialFailure;
        context_.events.finish(offer, *word,
                               {"the commit check says " + said + why, because(*word)});
    } else if (plan.withoutWord != base::Outcome::commitFailed && !trial.reason.empty()) {
        // It runs but did not pass: the agent was not asked to report a commit.
        context_.events.finish(offer, base::Outcome::commitFailed,
                               {trial.reason, trial.step == TrialNow::Step::notStored
                                                  ? base::Reason::commitNotStored
                                                  : base::Reason::healthFailed});
    } else {
        context_.events.finish(offer, plan.withoutWord,
                               {plan.withoutWordReason, because(plan.withoutWord)});
    }
}

void StartUp::abandoned() {
    gaveUp_ = false;
    restoreMemory();
}

void StartUp::restoreMemory() {
    if (std::exchange(agentIsFresh_, false)) {
        return goOn();
    }
    context_.state = JobState::restoring;
    const base::Json restore = base::message({{"event", "restore"}});
    if (base::Json memory = base::parsed(context_.ledger().memory)) {
        base::add(restore.get(), "memory", std::move(memory));
    }
    parts_.host.send(restore);
}

void StartUp::prepared(const base::Result<void> &done) {
    if (std::exchange(givesUp_, false) && !done) {
        notGivenUp_ = done.error().text;
    }
    goOn();
}

void StartUp::goOn() {
    Ledger &ledger = context_.ledger();
    context_.deps.board.setStage("");
    if (std::exchange(beginAnew_, false)) {
        context_.state = JobState::restoring;
        givesUp_ = true;
        return parts_.host.send(base::message({{"event", "begin-anew"}}));
    }
    if (ledger.running && parts_.address.mustWait(ledger.running->request)) {
        context_.state = JobState::restoring;
        return;
    }
    if (ledger.running) {
        recordTakenUp(ledger.running->request);
        return callbacks_.begin(*ledger.running);
    }
    if (std::exchange(waitingIsNew_, false) && ledger.waiting) {
        context_.events.record("taken-up", ledger.waiting->offer, "it waits on");
    }
    if (context_.awaitsReboot()) {
        parts_.reboot.await();
    }
    context_.deps.book.save();
    parts_.deferred.settingsChanged(); // they may have, with the configuration
    callbacks_.idle();
}

// What came of the image before is not gone on with: the agent fetches it from its first byte. An
// image that was written and stays counts for the agent as one that waited already.
void StartUp::recordTakenUp(const Request &request) {
    HistoryLine line = JobEvents::lineOf("taken-up", request);
    line.reason = "it had broken off";
    if (const std::uint64_t bytes = context_.deps.board.bytesOfImage(request.version); bytes > 0) {
        line.reasonCode = base::Reason::begunAnew;
        line.reason += "; a download begins anew after " + std::to_string(bytes) + " bytes";
    }
    if (const std::string why = std::exchange(notGivenUp_, {}); !why.empty()) {
        line.outcome = base::Outcome::waiting;
        line.reasonCode = base::Reason::imageNotGivenUp;
        line.reason += "; " + why;
        line.next = base::rowOf(line.reasonCode).remedy;
    }
    context_.events.record(line);
}

} // namespace service
