// SPDX-License-Identifier: MIT
// The host's life: start, what is taken up, crash, cancel.
#include "host/daemon/conductor.h"

#include "host/bank_note.h"
#include "host/daemon/judge.h"
#include "host/daemon/keep/deferral.h"
#include "host/daemon/keep/recheck.h"
#include "host/message.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace otad {
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

Conductor::Conductor(const Means &means, HostProgram program, Callbacks callbacks)
    : with_(means), nodeKnown_(std::move(callbacks.nodeKnown)),
      host_(means.loop, std::move(program),
            {std::move(callbacks.hostMessage), [this](const std::string &how) { hostEnded(how); }}),
      restart_(means.loop, [this] { launchHost(); }),
      keepAgain_(means.loop, [this] { keepAgain(); }),
      rebootOverdue_(means.loop, [this] { rebootIsOverdue(); }),
      lookForAddress_(means.loop, [this] { state_ == State::restoring ? goOn() : pump(); }) {}

void Conductor::start() { launchHost(); }

Facts Conductor::facts() const {
    return {.bootId = with_.bootId,
            .activeBank = with_.board.activeBank(),
            .runningVersion = with_.board.runningVersion(),
            .bootNowMs = bootNowMs(),
            .wallNow = std::time(nullptr),
            .passiveVersion = passiveVersion(with_.board.lastStatus()),
            .failedVersions = with_.board.lastStatus().failedVersions};
}

void Conductor::launchHost() {
    ++life_;
    restartAtMs_ = 0;
    state_ = State::startingUp;
    witness_ = {};
    lastWords_ = {};
    waitsForPath_.clear();
    trial_ = {};
    if (ledger().bootId != with_.bootId && (ledger().running || ledger().standing)) {
        with_.board.setStage("committing"); // what was activated before the boot is judged now
    }
    std::string whatIsWrong;
    if (!host_.start(hostOptions(ledger(), with_.bootId), whatIsWrong)) {
        return hostEnded(whatIsWrong);
    }
    HistoryLine line;
    line.event = "host-started";
    with_.chronicle.tell(line);
}

// Before everything that comes of it: as soon as it is known which bank booted.
void Conductor::tellBoot() {
    if (ledger().bootId == with_.bootId || std::exchange(bootTold_, true)) {
        return;
    }
    HistoryLine line;
    line.event = "boot";
    line.version = with_.board.runningVersion();
    line.reason = "bank " + with_.board.activeBank();
    with_.chronicle.tell(line);
}

void Conductor::hostIsWrong(const std::string &why) {
    host_.kill();
    logError("the host process said what it should not: " + why + "; it is started anew");
}

void Conductor::hostEnded(const std::string &how) {
    ++life_;
    const bool inTheCall = state_ == State::busy;
    cannotStart_ = state_ == State::startingUp && !lastWords_.sentence.empty();
    state_ = State::off;
    lookForAddress_.cancel();
    if (chore_) {
        choreDone("the host process ended over it; ask again once it runs");
    }
    with_.timers.restore({}); // the ledger has those that were armed before the call
    with_.board.setStage("");
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
void Conductor::tellCrash(const std::string &how, bool inTheCall) {
    ++hostCrashes_;
    HistoryLine line = lineOfNow("host-crashed");
    line.outcome = host::Outcome::hostCrashed;
    line.reasonCode = host::Reason::hostCrashed;
    line.next = "it is started again in " +
                std::to_string(pauseBeforeStart(hostCrashes_) / kMsPerSecond) + " s";
    line.reason = how;
    if (!lastWords_.sentence.empty()) {
        line.reasonCode =
            lastWords_.reason == host::Reason::none ? line.reasonCode : lastWords_.reason;
        line.reason += ": " + lastWords_.sentence;
    }
    hostFailure_ = {line.reasonCode,
                    lastWords_.sentence.empty() ? "the host process: " + how : lastWords_.sentence};
    with_.board.setHostFailure(hostFailure_);
    with_.chronicle.tell(line);
    if (ledger().running && inTheCall) {
        ++ledger().running->crashes;
        with_.book.save();
    }
}

int Conductor::restartInSeconds() const {
    return restart_.isSet()
               ? static_cast<int>(std::max<std::int64_t>(restartAtMs_ - bootNowMs(), 0) /
                                  kMsPerSecond)
               : -1;
}

void Conductor::hostKnowsNode(const std::string &mac) {
    cannotStart_ = false; // it has the node and the library
    with_.board.setHostMac(mac);
    nodeKnown_();
}

void Conductor::hostWaitsFor(const std::string &path, const std::string &found) {
    waitsForPath_ = path;
    with_.board.setStage("waiting");
    HistoryLine line;
    line.event = "agent-waits";
    line.outcome = host::Outcome::waiting;
    line.reason = "the agent waits until " + path + " is there";
    if (!found.empty()) {
        line.reasonCode = host::Reason::unsafePath;
        line.reason += "; what is there is not its socket: " + found;
    }
    line.next = "start the configuration manager that makes it";
    with_.chronicle.tell(line);
}

void Conductor::startUpDone(const cJSON &message) {
    waitsForPath_.clear();
    hostFailure_ = {};
    cannotStart_ = false;
    with_.board.setHostFailure(hostFailure_);
    tellBoot(); // where no banks could be told
    const Facts now = facts();
    with_.board.lookAtAddress();
    TakeUp plan = planTakeUp(ledger(), now);
    standingIsNew_ = true;
    recheck(plan, judgeNow(with_.config, with_.board.lastStatus()));
    ledger() = takenUp(ledger(), plan, now);
    with_.timers.restore(plan.timers);
    if (plan.decided) {
        tellOutcomeOfBoot(plan);
    }
    for (const Finished &finished : plan.finished) {
        finish(finished.request, finished.outcome, {finished.cause, finished.reason});
        gaveUp_ = gaveUp_ || finished.outcome == host::Outcome::hostCrashed;
    }
    for (const host::guard::Refusal &refusal : plan.dropped) {
        tellRefused(Request{}, refusal);
    }
    gaveUp_ = gaveUp_ || plan.takeBack;
    beginAnew_ = plan.beginAnew && plan.redo;
    // Also of a fresh agent: a call that breaks off begins again with the times that it knew.
    agentIsFresh_ = ledger().memory.empty();
    if (agentIsFresh_) {
        ledger().memory = host::printed(cJSON_GetObjectItemCaseSensitive(&message, "memory"));
    }
    if (gaveUp_) {
        forgetReboot(); // the bank that runs boots next
    }
    if (cancelling_ || gaveUp_) {
        state_ = State::abandoning;
        host_.send(host::message({{"event", "abandon"}}).get());
        return;
    }
    restoreMemory();
}

// The commit check has its say; policy 3 leaves no mark for it, so the bank itself tells.
void Conductor::tellOutcomeOfBoot(const TakeUp &plan) {
    const auto word = outcomeOfWord(witness_.lastWord);
    const auto because = [&](host::Outcome outcome) {
        return outcome == host::Outcome::commitFailed ? plan.cause : host::Reason::none;
    };
    if (plan.awaitCommitWord && word) {
        const std::string why = plan.trialFailure.empty() ? "" : "; " + plan.trialFailure;
        finish(*plan.decided, *word,
               {because(*word), "the commit check says " + witness_.lastWord + why});
    } else if (plan.withoutWord == host::Outcome::activated && !trial_.reason.empty()) {
        // It runs but did not pass: the agent was not asked to report a commit.
        finish(*plan.decided, host::Outcome::commitFailed,
               {trial_.step == TrialNow::Step::notStored ? host::Reason::commitNotStored
                                                         : host::Reason::healthFailed,
                trial_.reason});
    } else {
        finish(*plan.decided, plan.withoutWord,
               {because(plan.withoutWord), plan.withoutWordReason});
    }
}

void Conductor::restoreMemory() {
    if (std::exchange(agentIsFresh_, false)) {
        return goOn();
    }
    state_ = State::restoring;
    const host::Json restore = host::message({{"event", "restore"}});
    cJSON_AddItemToObject(restore.get(), "memory", host::parsed(ledger().memory).release());
    host_.send(restore.get());
}

// Behind start-up and restore: the broken call again, or the next request.
void Conductor::goOn() {
    with_.board.setStage("");
    if (std::exchange(beginAnew_, false)) {
        state_ = State::restoring;
        return host_.send(host::message({{"event", "begin-anew"}}).get());
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
    with_.book.save();
    settingsChanged(); // they may have, with the configuration
    becomeIdle();
}

// What came of the image before is not gone on with: the agent fetches it from its first byte.
void Conductor::tellTakenUp(const Request &request) {
    HistoryLine line = lineOf("taken-up", request);
    line.reason = "it had broken off";
    if (const std::uint64_t bytes = with_.board.bytesOfImage(request.version); bytes > 0) {
        line.reasonCode = host::Reason::begunAnew;
        line.reason += "; a download begins anew after " + std::to_string(bytes) + " bytes";
    }
    with_.chronicle.tell(line);
}

void Conductor::becomeIdle() {
    state_ = State::idle;
    with_.board.setStage("");
    if (std::exchange(forgetDeferral_, false)) {
        forgetDeferral();
    } else {
        pump();
    }
}

// The agent itself never takes its mark back.
void Conductor::forgetDeferral() {
    const host::Json memory = host::parsed(ledger().memory);
    cJSON *const mark = cJSON_GetObjectItemCaseSensitive(memory.get(), "g_ISDeferedUpgrade");
    if (mark == nullptr) {
        return pump();
    }
    cJSON_SetNumberValue(mark, 0);
    ledger().memory = host::printed(memory.get());
    restoreMemory();
}

void Conductor::hostToldBanks(const cJSON &message) {
    nal::BootState state;
    std::string whatIsWrong;
    if (host::takeBankNote(&message, state, whatIsWrong)) {
        with_.board.setBanks(state);
        if (state_ == State::startingUp) {
            tellBoot();
        }
    } else {
        logError(whatIsWrong);
    }
}

} // namespace otad
