// SPDX-License-Identifier: MIT
#include "service/state/resume.h"

#include "platform/timers.h"
#include "service/state/agent_memory_text.h"
#include "service/state/resume_fate.h"

#include <algorithm>

namespace service {
namespace {

using base::Outcome;

constexpr int kAtOnce = 1; // the policy that activates what it has written

bool isTimer(const Request &request) { return request.kind == kTimer; }

// The plan while it is made. Each step below moves something out of the ledger's copy into it.
class Planner {
  public:
    Planner(const Ledger &ledger, const BootFacts &facts)
        : facts_(facts), otherBoot_(ledger.bootId != facts.bootId), running_(ledger.running),
          timers_(ledger.timers), memory_(ledger.memory) {
        plan_.commitCheck = otherBoot_;
        plan_.waiting = ledger.waiting;
        plan_.queue = ledger.queue;
        plan_.failedDownloads = ledger.failedDownloads;
    }

    ResumePlan plan() {
        const Subject subject = findSubject(running_, plan_.waiting, facts_, otherBoot_);
        if (subject.fate != Fate::untouched) {
            decide(subject);
        }
        if (subject.otherwiseBooted) {
            dropTimers(); // they would activate whatever the passive bank holds now
        }
        takeUpRunning();
        offerAgain();
        endSurplus();
        setTimers();
        setMemory();
        return std::move(plan_);
    }

  private:
    void finish(const Request &request, Outcome outcome, const std::string &sentence,
                base::Reason cause = base::Reason::none) {
        plan_.finished.push_back({request, outcome, sentence, cause});
    }

    void supersedeWaiting() {
        if (plan_.waiting) {
            finish(plan_.waiting->offer, Outcome::superseded, "a later offer was activated",
                   base::Reason::laterRequest);
            plan_.waiting.reset();
        }
    }

    void dropTimers() {
        mended_ = true;
        timers_.clear();
        std::erase_if(plan_.queue, isTimer);
        if (running_ && isTimer(running_->request)) {
            running_.reset();
        }
    }

    // The activation is over and is not done again, and nothing that led to it either.
    void decide(const Subject &subject) {
        if (subject.offer.ticket != 0) { // else nobody waits for the outcome
            plan_.decided = subject.offer;
        }
        plan_.awaitCommitWord = plan_.commitCheck;
        plan_.withoutWord = outcomeWithoutWord(subject, facts_);
        plan_.withoutWordReason = reasonWithoutWord(subject, facts_);
        plan_.cause = causeOfFate(subject, facts_);
        if (subject.fate == Fate::failedTrial) {
            plan_.trialFailure = plan_.withoutWordReason;
        }
        const bool ofRunning = subject.holder == Holder::running;
        if (ofRunning && running_->request.kind == kNewImage) {
            supersedeWaiting();
        }
        if (running_ && running_->request.kind == kMobileTrigger && plan_.waiting) {
            finish(running_->request, Outcome::done, "the image that it asked for was activated");
            running_.reset();
        }
        if (ofRunning) {
            running_.reset();
        }
        plan_.waiting.reset();
        dropTimers();
        if (subject.fate != Fate::passedOver && subject.fate != Fate::failedTrial) {
            dropArrivalOffers();
        }
        fresh_ = true;
    }

    // "Activate what the passive bank holds" was meant for the image that has booted by now.
    void dropArrivalOffers() {
        if (running_ && activatesOnArrival(running_->request)) {
            finish(running_->request, Outcome::activated, "the bank was activated before its turn");
            running_.reset();
        }
        std::erase_if(plan_.queue, [&](const Request &request) {
            const bool drop =
                activatesOnArrival(request) && request.version == facts_.runningVersion;
            if (drop) {
                finish(request, Outcome::notNeeded, "the version runs since the last boot");
            }
            return drop;
        });
    }

    void takeUpRunning() {
        if (!running_) {
            return;
        }
        Running broken = *running_;
        running_.reset();
        if (broken.crashes >= kMaxCrashes || broken.starts >= kMaxStarts) {
            mended_ = true;
            const bool activated = broken.activated && broken.request.kind != kActivationTime;
            return activated ? restOnActivation(broken) : giveUp(broken);
        }
        ++broken.starts;
        plan_.beginAnew = wroteItsImage(broken);
        if (!facts_.activeBank.empty()) {
            broken.bank = facts_.activeBank;
        }
        plan_.redo = std::move(broken);
    }

    // Its redoing would find the image in the bank and take it for an old one: it would schedule it
    // for another time, activate what was to be written only, or never report the writing.
    bool wroteItsImage(const Running &broken) const {
        return broken.request.kind == kNewImage && broken.request.policy != kAtOnce &&
               !broken.activated && !broken.held && facts_.passiveVersion == broken.request.version;
    }

    // Its work is done: the next boot takes the bank, whenever it comes.
    void restOnActivation(const Running &broken) {
        if (broken.request.kind == kNewImage) {
            supersedeWaiting();
            plan_.waiting =
                WaitingOffer{broken.request, broken.bank, true, false, broken.failedTrials};
        } else if (plan_.waiting) {
            plan_.waiting->bank = broken.bank;
            plan_.waiting->activated = true;
        }
        if (broken.request.kind == kMobileTrigger) {
            finish(broken.request, Outcome::done, "the image that it asked for is activated");
        }
    }

    void giveUp(const Running &broken) {
        const std::string reason =
            broken.crashes >= kMaxCrashes
                ? "the host process ended " + std::to_string(broken.crashes) + " times in it"
                : "it broke off " + std::to_string(broken.starts) + " times";
        if (isTimer(broken.request) && plan_.waiting) {
            // The timer was the offer's only way on.
            finish(plan_.waiting->offer, Outcome::hostCrashed, reason, base::Reason::hostCrashed);
            plan_.waiting.reset();
            dropTimers();
        } else {
            finish(broken.request, Outcome::hostCrashed, reason, base::Reason::hostCrashed);
        }
    }

    bool isAwaited(const char *timer) const {
        const auto named = [&](const Request &request) { return timerOf(request) == timer; };
        return std::any_of(timers_.begin(), timers_.end(),
                           [&](const ArmedTimer &armed) { return armed.name == timer; }) ||
               std::any_of(plan_.queue.begin(), plan_.queue.end(), named) ||
               (plan_.redo && named(plan_.redo->request));
    }

    // Nothing that was kept would bring the waiting offer any further.
    bool isStuck() const {
        const bool redoMoves = plan_.redo && (isTimer(plan_.redo->request) ||
                                              plan_.redo->request.kind == kMobileTrigger);
        return !plan_.waiting->activated && !plan_.waiting->deferred && timers_.empty() &&
               !redoMoves && std::none_of(plan_.queue.begin(), plan_.queue.end(), isTimer);
    }

    // A boot took away what the mobile app reads of an open window, and ends every putting off.
    bool bootUndidIt() const {
        const bool window =
            std::any_of(timers_.begin(), timers_.end(),
                        [](const ArmedTimer &armed) { return armed.name == TIMER_DOWNLOAD_START; });
        return otherBoot_ && !plan_.waiting->activated && (plan_.waiting->deferred || window);
    }

    // The waiting offer goes to the agent anew, ahead of what came after it.
    void offerAgain() {
        if (!plan_.waiting || !(isStuck() || bootUndidIt())) {
            return;
        }
        if (plan_.redo && !isTimer(plan_.redo->request)) {
            plan_.queue.push_front(plan_.redo->request);
        }
        plan_.redo = Running{.request = plan_.waiting->offer,
                             .starts = 1,
                             .crashes = 0,
                             .bank = facts_.activeBank,
                             .activated = false,
                             .failedTrials = plan_.waiting->failedTrials,
                             .held = facts_.passiveVersion == plan_.waiting->offer.version};
        plan_.beginAnew = false;
        plan_.waiting.reset();
        std::erase_if(timers_,
                      [](const ArmedTimer &armed) { return armed.name == TIMER_DOWNLOAD_START; });
        mended_ = true;
        offeredAgain_ = true;
    }

    // What is kept behind this start is room enough for what it adds to the queue.
    void endSurplus() {
        for (; plan_.queue.size() > Ledger::kMaxQueue; plan_.queue.pop_back()) {
            if (!isTimer(plan_.queue.back())) {
                finish(plan_.queue.back(), Outcome::queueFull,
                       "more requests were kept than the service takes up");
            }
        }
    }

    void setTimers() {
        const bool forTimeOfDay =
            AgentMemoryText(memory_).number(AgentMemoryText::kNoWindowBeforeSwap, 1) != 0;
        plan_.timers = timers_;
        for (ArmedTimer &timer : plan_.timers) {
            const bool timeOfDay = forTimeOfDay && timer.name == TIMER_REBOOT;
            timer.endBootMs = facts_.bootNowMs + remainingMs(timer, !otherBoot_, facts_, timeOfDay);
        }
    }

    // What a boot, or the end of a call that never came to its end, leaves as it is after a start.
    void mend(AgentMemoryText &memory) const {
        const bool reboot = isAwaited(TIMER_REBOOT);
        const bool window = reboot && memory.number(AgentMemoryText::kNoWindowBeforeSwap, 1) == 0;
        if (!reboot) {
            memory.setNumber(AgentMemoryText::kRebootScheduled, 0);
            memory.setNumber(AgentMemoryText::kNoWindowBeforeSwap, 1);
        }
        if (!window && !isAwaited(TIMER_DOWNLOAD_START)) {
            memory.setNumber(AgentMemoryText::kWindowOpen, 0);
        }
        if (!isAwaited(TIMER_DOWNLOAD_RETRY)) {
            memory.setNumber(AgentMemoryText::kRetryPending, 0);
        }
        if (otherBoot_ || offeredAgain_) {
            memory.setNumber(AgentMemoryText::kDeferred, 0);
        }
        if (offeredAgain_) {
            memory.setNumber(AgentMemoryText::kTriggerTooLate, 0);
        }
    }

    void setMemory() {
        const bool waits = plan_.redo || plan_.waiting || !timers_.empty() ||
                           std::any_of(plan_.queue.begin(), plan_.queue.end(), isTimer);
        if ((otherBoot_ || fresh_) && !waits) {
            plan_.failedDownloads = 0;
            return;
        }
        AgentMemoryText memory(memory_);
        if (otherBoot_ || mended_) {
            mend(memory);
        }
        plan_.memory = memory.print();
    }

    const BootFacts &facts_;
    bool otherBoot_;
    std::optional<Running> running_;
    std::vector<ArmedTimer> timers_;
    std::string memory_;
    bool fresh_ = false;        // a boot into the activated bank wiped the agent's memory
    bool mended_ = false;       // flags must follow the timers that are left
    bool offeredAgain_ = false; // the redo is the waiting offer's
    ResumePlan plan_;
};

} // namespace

ResumePlan planResume(const Ledger &ledger, const BootFacts &facts) {
    return Planner(ledger, facts).plan();
}

std::vector<std::string> hostOptions(const Ledger &ledger, const std::string &bootId) {
    if (ledger.bootId == bootId) {
        return {"--no-commit-check"};
    }
    std::vector<std::string> options;
    for (const Awaited &one : awaitedCommits(ledger.running, ledger.waiting)) {
        options.insert(options.end(), {"--activated", one.bank + ":" + one.version});
    }
    return options;
}

Ledger resumed(const Ledger &ledger, const ResumePlan &takeUp, const BootFacts &facts) {
    Ledger now = ledger;
    now.bootId = facts.bootId;
    now.queue = takeUp.queue;
    now.running = takeUp.redo;
    now.waiting = takeUp.waiting;
    now.timers = takeUp.timers;
    now.memory = takeUp.memory;
    now.failedDownloads = takeUp.failedDownloads;
    now.rebootDue = ledger.rebootDue && ledger.bootId == facts.bootId;
    return now;
}

} // namespace service
