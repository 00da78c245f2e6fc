// SPDX-License-Identifier: MIT
// The host's life: start, what is taken up, crash, cancel.
#include "service/job_runner.h"

#include "base/message.h"
#include "node/bank_note.h"
#include "service/judge.h"
#include "service/state/deferral.h"
#include "service/state/recheck.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace service {
namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kLongestPauseMs = 30'000;
constexpr int kDoublings = 5; // of one second, until the longest pause is reached

std::int64_t pauseBeforeStart(int crashes) {
    return crashes == 0
               ? 0
               : std::min(kMsPerSecond << std::min(crashes - 1, kDoublings), kLongestPauseMs);
}

} // namespace

JobRunner::JobRunner(const Dependencies &deps, HostProgram program, Callbacks callbacks)
    : deps_(deps), nodeKnown_(std::move(callbacks.nodeKnown)),
      host_(deps.loop, std::move(program),
            {std::move(callbacks.hostMessage), [this](const std::string &how) { hostEnded(how); }}),
      restart_(deps.loop, [this] { launchHost(); }), keepAgain_(deps.loop, [this] { keepAgain(); }),
      rebootOverdue_(deps.loop, [this] { rebootIsOverdue(); }),
      lookForAddress_(deps.loop, [this] { state_ == State::restoring ? goOn() : pump(); }) {}

void JobRunner::start() { launchHost(); }

BootFacts JobRunner::facts() const {
    return {.bootId = deps_.bootId,
            .activeBank = deps_.board.activeBank(),
            .runningVersion = deps_.board.runningVersion(),
            .bootNowMs = bootNowMs(),
            .wallNow = std::time(nullptr),
            .passiveVersion = passiveVersion(deps_.board.lastStatus()),
            .failedVersions = deps_.board.lastStatus().failedVersions};
}

void JobRunner::launchHost() {
    ++hostGeneration_;
    restartAtMs_ = 0;
    state_ = State::startingUp;
    observed_ = {};
    lastWords_ = {};
    waitsForPath_.clear();
    trial_ = {};
    if (ledger().bootId != deps_.bootId && (ledger().running || ledger().standing)) {
        deps_.board.setStage("committing"); // what was activated before the boot is judged now
    }
    std::string whatIsWrong;
    if (!host_.start(hostOptions(ledger(), deps_.bootId), whatIsWrong)) {
        return hostEnded(whatIsWrong);
    }
    HistoryLine line;
    line.event = "host-started";
    deps_.eventLog.record(line);
}

// Before everything that comes of it: as soon as it is known which bank booted.
void JobRunner::tellBoot() {
    if (ledger().bootId == deps_.bootId || std::exchange(bootTold_, true)) {
        return;
    }
    HistoryLine line;
    line.event = "boot";
    line.version = deps_.board.runningVersion();
    line.reason = "bank " + deps_.board.activeBank();
    deps_.eventLog.record(line);
}

void JobRunner::hostIsWrong(const std::string &why) {
    host_.kill();
    logError("the host process said what it should not: " + why + "; it is started anew");
}

void JobRunner::hostEnded(const std::string &how) {
    ++hostGeneration_;
    const bool inTheCall = state_ == State::busy;
    cannotStart_ = state_ == State::startingUp && !lastWords_.sentence.empty();
    state_ = State::off;
    lookForAddress_.cancel();
    if (command_) {
        commandDone("the host process ended over it; ask again once it runs");
    }
    deps_.timers.restore({}); // the ledger has those that were armed before the call
    deps_.board.setStage("");
    const bool renewed = std::exchange(renewing_, false) && how.empty();
    if (toForget_ != ToForget::nothing) {
        hostCrashes_ = 0;
        forgetCancelled();
    } else if (!renewed) {
        tellCrash(how.empty() ? "it was ended because it could not be understood" : how, inTheCall);
    }
    const std::int64_t pause = pauseBeforeStart(hostCrashes_);
    restartAtMs_ = bootNowMs() + pause;
    restart_.setInMs(pause);
    if (cancelling_ && hostCrashes_ > 0) {
        // The clean-up may never come: whoever asked must not wait for it.
        answerCancels("");
    }
}

// Only a call that the agent had begun can be at fault.
void JobRunner::tellCrash(const std::string &how, bool inTheCall) {
    ++hostCrashes_;
    HistoryLine line = lineOfNow("host-crashed");
    line.outcome = base::Outcome::hostCrashed;
    line.reasonCode = base::Reason::hostCrashed;
    line.next = "it is started again in " +
                std::to_string(pauseBeforeStart(hostCrashes_) / kMsPerSecond) + " s";
    line.reason = how;
    if (!lastWords_.sentence.empty()) {
        line.reasonCode =
            lastWords_.reason == base::Reason::none ? line.reasonCode : lastWords_.reason;
        line.reason += ": " + lastWords_.sentence;
    }
    hostFailure_ = {line.reasonCode,
                    lastWords_.sentence.empty() ? "the host process: " + how : lastWords_.sentence};
    deps_.board.setHostFailure(hostFailure_);
    deps_.eventLog.record(line);
    if (ledger().running && inTheCall) {
        ++ledger().running->crashes;
        deps_.book.save();
    }
}

int JobRunner::restartInSeconds() const {
    return restart_.isSet()
               ? static_cast<int>(std::max<std::int64_t>(restartAtMs_ - bootNowMs(), 0) /
                                  kMsPerSecond)
               : -1;
}

void JobRunner::hostKnowsNode(const std::string &mac) {
    cannotStart_ = false; // it has the node and the library
    deps_.board.setHostMac(mac);
    nodeKnown_();
}

void JobRunner::hostWaitsFor(const std::string &path, const std::string &found) {
    waitsForPath_ = path;
    deps_.board.setStage("waiting");
    HistoryLine line;
    line.event = "agent-waits";
    line.outcome = base::Outcome::waiting;
    line.reason = "the agent waits until " + path + " is there";
    if (!found.empty()) {
        line.reasonCode = base::Reason::unsafePath;
        line.reason += "; what is there is not its socket: " + found;
    }
    line.next = "start the configuration manager that makes it";
    deps_.eventLog.record(line);
}

void JobRunner::startUpDone(const cJSON &message) {
    waitsForPath_.clear();
    hostFailure_ = {};
    cannotStart_ = false;
    deps_.board.setHostFailure(hostFailure_);
    tellBoot(); // where no banks could be told
    const BootFacts now = facts();
    deps_.board.lookAtAddress();
    ResumePlan plan = planResume(ledger(), now);
    standingIsNew_ = true;
    recheck(plan, judgeNow(deps_.config, deps_.board.lastStatus()));
    ledger() = resumed(ledger(), plan, now);
    deps_.timers.restore(plan.timers);
    if (plan.decided) {
        tellOutcomeOfBoot(plan);
    }
    for (const Finished &finished : plan.finished) {
        finish(finished.request, finished.outcome, {finished.cause, finished.reason});
        gaveUp_ = gaveUp_ || finished.outcome == base::Outcome::hostCrashed;
    }
    for (const guard::Refusal &refusal : plan.dropped) {
        tellRefused(Request{}, refusal);
    }
    gaveUp_ = gaveUp_ || plan.takeBack;
    beginAnew_ = plan.beginAnew && plan.redo;
    // Also of a fresh agent: a call that breaks off begins again with the times that it knew.
    agentIsFresh_ = ledger().memory.empty();
    if (agentIsFresh_) {
        ledger().memory = base::printed(cJSON_GetObjectItemCaseSensitive(&message, "memory"));
    }
    if (gaveUp_) {
        forgetReboot(); // the bank that runs boots next
    }
    if (cancelling_ || gaveUp_) {
        state_ = State::abandoning;
        host_.send(base::message({{"event", "abandon"}}).get());
        return;
    }
    restoreMemory();
}

// The commit check has its say; policy 3 leaves no mark for it, so the bank itself tells.
void JobRunner::tellOutcomeOfBoot(const ResumePlan &plan) {
    const auto word = outcomeOfWord(observed_.lastWord);
    const auto because = [&](base::Outcome outcome) {
        return outcome == base::Outcome::commitFailed ? plan.cause : base::Reason::none;
    };
    if (plan.awaitCommitWord && word) {
        const std::string why = plan.trialFailure.empty() ? "" : "; " + plan.trialFailure;
        finish(*plan.decided, *word,
               {because(*word), "the commit check says " + observed_.lastWord + why});
    } else if (plan.withoutWord == base::Outcome::activated && !trial_.reason.empty()) {
        // It runs but did not pass: the agent was not asked to report a commit.
        finish(*plan.decided, base::Outcome::commitFailed,
               {trial_.step == TrialNow::Step::notStored ? base::Reason::commitNotStored
                                                         : base::Reason::healthFailed,
                trial_.reason});
    } else {
        finish(*plan.decided, plan.withoutWord,
               {because(plan.withoutWord), plan.withoutWordReason});
    }
}

void JobRunner::restoreMemory() {
    if (std::exchange(agentIsFresh_, false)) {
        return goOn();
    }
    state_ = State::restoring;
    const base::Json restore = base::message({{"event", "restore"}});
    cJSON_AddItemToObject(restore.get(), "memory", base::parsed(ledger().memory).release());
    host_.send(restore.get());
}

// Behind start-up and restore: the broken call again, or the next request.
void JobRunner::goOn() {
    deps_.board.setStage("");
    if (std::exchange(beginAnew_, false)) {
        state_ = State::restoring;
        return host_.send(base::message({{"event", "begin-anew"}}).get());
    }
    if (ledger().running && awaitsAddress(ledger().running->request)) {
        state_ = State::restoring;
        return;
    }
    if (ledger().running) {
        tellTakenUp(ledger().running->request);
        return begin(*ledger().running);
    }
    if (std::exchange(standingIsNew_, false) && ledger().standing) {
        tell("taken-up", ledger().standing->offer, "it waits on");
    }
    if (rebootAwaited()) {
        awaitReboot();
    }
    deps_.book.save();
    settingsChanged(); // they may have, with the configuration
    becomeIdle();
}

// What came of the image before is not gone on with: the agent fetches it from its first byte.
void JobRunner::tellTakenUp(const Request &request) {
    HistoryLine line = lineOf("taken-up", request);
    line.reason = "it had broken off";
    if (const std::uint64_t bytes = deps_.board.bytesOfImage(request.version); bytes > 0) {
        line.reasonCode = base::Reason::begunAnew;
        line.reason += "; a download begins anew after " + std::to_string(bytes) + " bytes";
    }
    deps_.eventLog.record(line);
}

void JobRunner::becomeIdle() {
    state_ = State::idle;
    deps_.board.setStage("");
    if (std::exchange(forgetDeferral_, false)) {
        forgetDeferral();
    } else {
        pump();
    }
}

// The agent itself never takes its mark back.
void JobRunner::forgetDeferral() {
    const base::Json memory = base::parsed(ledger().memory);
    cJSON *const mark = cJSON_GetObjectItemCaseSensitive(memory.get(), "g_ISDeferedUpgrade");
    if (mark == nullptr) {
        return pump();
    }
    cJSON_SetNumberValue(mark, 0);
    ledger().memory = base::printed(memory.get());
    restoreMemory();
}

void JobRunner::hostToldBanks(const cJSON &message) {
    node::BootState state;
    std::string whatIsWrong;
    if (node::takeBankNote(&message, state, whatIsWrong)) {
        deps_.board.setBanks(state);
        if (state_ == State::startingUp) {
            tellBoot();
        }
    } else {
        logError(whatIsWrong);
    }
}

} // namespace service
