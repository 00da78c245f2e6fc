// SPDX-License-Identifier: MIT
// The requests' way: kept, begun, ended, cancelled.
#include "host/daemon/conductor.h"

#include "host/message.h"
#include "platform/timers.h"

#include <algorithm>

namespace otad {
namespace {

constexpr std::int64_t kKeepAgainMs = 5000;
constexpr std::size_t kLongestQueue = 16;

host::guard::Refusal refusal(host::Outcome outcome, const std::string &field,
                             const std::string &reason) {
    return {outcome, field, reason};
}

} // namespace

void Conductor::accept(Request request, Answer answer) {
    if (ledger().queue.size() >= kLongestQueue) {
        const auto full = refusal(host::Outcome::queueFull, "queue",
                                  std::to_string(kLongestQueue) + " requests wait already");
        return answer(&full, 0);
    }
    const std::uint64_t ticket = request.ticket = ledger().nextTicket++;
    ledger().queue.push_back(std::move(request));
    with_.book.save([this, ticket, answer = std::move(answer)](const std::string &whatIsWrong) {
        const auto mine = std::find_if(ledger().queue.begin(), ledger().queue.end(),
                                       [&](const Request &one) { return one.ticket == ticket; });
        if (whatIsWrong.empty()) {
            if (mine != ledger().queue.end()) {
                tell("accepted", *mine);
            }
            keptTicket_ = ticket;
            answer(nullptr, ticket);
        } else {
            if (mine != ledger().queue.end()) {
                ledger().queue.erase(mine);
                with_.book.save(); // a later write may have taken it along
            }
            const auto notKept = refusal(host::Outcome::notKept, "request", whatIsWrong);
            answer(&notKept, 0);
        }
        with_.board.refresh();
        pump();
    });
}

void Conductor::timerRanOut(const std::string &name) {
    Request expiry = expiryOf(name);
    tell("timer-ran-out", expiry, name);
    // Not both: kept as armed and as expired, it would run out twice after a crash.
    std::erase_if(ledger().timers, [&](const ArmedTimer &timer) { return timer.name == name; });
    ledger().queue.push_back(std::move(expiry));
    with_.book.save();
    with_.board.refresh();
    pump();
}

Request Conductor::expiryOf(const std::string &name) const {
    Request expiry;
    expiry.kind = kTimer;
    expiry.event = host::printed(host::message({{"event", kTimer}, {"name", name}}).get());
    if (const Request *const offer = currentOffer()) {
        expiry.ticket = offer->ticket;
        expiry.version = offer->version;
        expiry.policy = offer->policy;
    }
    return expiry;
}

const Request *Conductor::currentOffer() const {
    const Ledger &ledger = with_.book.ledger();
    if (ledger.standing) {
        return &ledger.standing->offer;
    }
    return ledger.running && ledger.running->request.kind == kNewImage ? &ledger.running->request
                                                                       : nullptr;
}

// One that ran out while the agent was busy is still to come for it.
bool Conductor::timersAwaited() const {
    const std::deque<Request> &queue = with_.book.ledger().queue;
    return !with_.timers.armed().empty() ||
           std::any_of(queue.begin(), queue.end(),
                       [](const Request &one) { return one.kind == kTimer; });
}

void Conductor::timerStopped(const std::string &name) {
    // It may have run out while the agent was busy: then it waits in the queue, and must not fire.
    std::erase_if(ledger().queue, [&](const Request &one) {
        return one.kind == kTimer && host::textOf(host::parsed(one.event).get(), "name") == name;
    });
    with_.board.refresh();
}

void Conductor::onboardingEnded() {
    onboardingEnded_ = true;
    if (!ledger().standing || !ledger().standing->deferred) {
        return;
    }
    Standing &standing = *ledger().standing;
    tell("taken-up", standing.offer, "it was put off while the node was being onboarded");
    standing.deferred = false;
    // The expiry that the agent put off comes again: it downloads, or activates what was
    // downloaded.
    ledger().queue.push_front(
        expiryOf(passiveBankHolds(standing.offer.version) ? TIMER_REBOOT : TIMER_DOWNLOAD_START));
    forgetDeferral_ = true;
    with_.board.setDeferred(false);
    with_.book.save();
    if (state_ == State::idle) {
        becomeIdle();
    }
}

bool Conductor::passiveBankHolds(const std::string &version) const {
    const std::vector<BankView> &banks = with_.board.lastStatus().banks;
    return std::any_of(banks.begin(), banks.end(), [&](const BankView &bank) {
        return !bank.running && bank.whole && bank.version == version;
    });
}

void Conductor::pump() {
    if (state_ != State::idle || cancelling_ || ledger().queue.empty() ||
        ledger().queue.front().ticket > keptTicket_) {
        return;
    }
    Running running;
    running.request = ledger().queue.front();
    running.starts = 1;
    ledger().queue.pop_front();
    begin(std::move(running));
}

void Conductor::begin(Running running) {
    witness_ = {};
    onboardingEnded_ = false;
    if (running.bank.empty()) {
        running.bank = with_.board.activeBank();
    }
    ledger().running = std::move(running);
    if (ledger().running->request.kind == kNewImage) {
        supersedeStanding();
    }
    tell("started", ledger().running->request);
    state_ = State::keeping;
    keepAndSend();
}

// What runs is on the disk before the agent hears of it.
void Conductor::keepAndSend() {
    with_.board.refresh();
    with_.book.save([this, life = life_](const std::string &whatIsWrong) {
        if (life != life_ || state_ != State::keeping || !ledger().running) {
            return; // the host ended meanwhile, or the request was cancelled
        }
        if (!whatIsWrong.empty()) {
            ++failedSaves_;
            logError(whatIsWrong + "; the request waits until it can be kept");
            return keepAgain_.setInMs(kKeepAgainMs);
        }
        failedSaves_ = 0;
        state_ = State::busy;
        host_.send(host::parsed(ledger().running->request.event).get());
    });
}

void Conductor::hostStage(const std::string &stage) {
    if (stage == "writing") {
        witness_.wrote = true;
    } else if (stage == "activating") {
        witness_.activating = true;
    } else if (stage == "rebooting" && !witness_.activated) {
        witness_.activated = true;
        if (ledger().running) {
            ledger().running->activated = true;
            with_.book.save();
        }
        lookAtBanks();
    }
    if (stage == with_.board.lastStatus().stage) {
        return;
    }
    with_.board.setStage(stage);
    if (ledger().running && stage != "idle") {
        tell("stage", ledger().running->request, stage);
    }
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
        lookAtBanks();
        // Not before it is on the disk: what was cancelled must not come back.
        with_.book.save([this, failed](const std::string &whatIsWrong) {
            answerCancels(failed.empty() ? whatIsWrong : failed);
        });
        return restoreMemory();
    case State::busy:
        hostCrashes_ = 0;
        return callDone(message);
    case State::off:
    case State::idle:
    case State::keeping:
        break;
    }
    hostIsWrong("it reports the end of \"" + what + "\", which it was not asked for");
}

void Conductor::callDone(const cJSON &message) {
    with_.board.setStage("");
    lookAtBanks();
    Running ended = *ledger().running;
    ended.activated = ended.activated || witness_.activated;
    ledger().running.reset();
    ledger().memory = host::printed(cJSON_GetObjectItemCaseSensitive(&message, "memory"));
    ledger().timers = with_.timers.armed();
    const Request &request = ended.request;
    if (request.kind == kNewImage) {
        offerDone(request, ended);
    } else if (request.kind == kActivationTime) {
        finish(request, host::Outcome::done, "the agent has the time");
    } else {
        if (request.kind != kTimer) {
            finish(request, host::Outcome::done, "the agent has the trigger");
        }
        standingGoesOn(ended);
    }
    with_.book.save();
    becomeIdle();
}

// A reboot or a timer may still be awaited; else the offer is over.
void Conductor::offerDone(const Request &offer, const Running &ended) {
    const bool awaited = ended.activated || timersAwaited();
    if (awaited && !endsTheRequest(witness_)) {
        ledger().standing = Standing{offer, ended.bank, ended.activated, false};
        return;
    }
    finish(offer, outcomeOfCall(witness_), witness_.lastWord);
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
        finish(standing.offer, outcomeOfCall(witness_), witness_.lastWord);
        ledger().standing.reset();
    } else if (!timersAwaited()) {
        if (with_.board.lastStatus().deferred && !witness_.wrote && witness_.lastWord.empty()) {
            standing.deferred = true;
            tell("deferred", standing.offer, "the node is being onboarded",
                 "taken up when onboarding ends, at the next boot or the next offer");
            return onboardingEnded_ ? onboardingEnded() : void();
        }
        finish(standing.offer, outcomeOfCall(witness_), witness_.lastWord);
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

// What runs works for the offer that stands: one is not cancelled without the other.
bool Conductor::runsOrStands(std::uint64_t ticket) const {
    const Ledger &ledger = with_.book.ledger();
    if (ticket == 0) {
        return ledger.running || ledger.standing || !with_.timers.armed().empty();
    }
    return (ledger.running && ledger.running->request.ticket == ticket) ||
           (ledger.standing && ledger.standing->offer.ticket == ticket);
}

void Conductor::cancel(std::uint64_t ticket, Answer answer) {
    if (runsOrStands(ticket)) {
        cancelAnswers_.push_back(std::move(answer));
        if (!cancelling_) {
            cancelling_ = true;
            cancelled_ = ticket != 0 ? ticket : with_.board.lastStatus().ticket;
            if (host_.running()) {
                host_.kill(); // its end comes from the loop
            } else {
                hostEnded("");
            }
        }
        return;
    }
    if (cancelInQueue(ticket, answer)) {
        return;
    }
    const auto nothing =
        refusal(host::Outcome::nothingToCancel, "ticket",
                ticket == 0 ? "nothing runs and nothing waits"
                            : "no request of ticket " + std::to_string(ticket) + " runs or waits");
    answer(&nothing, 0);
}

// With 0 the first that waits.
bool Conductor::cancelInQueue(std::uint64_t ticket, const Answer &answer) {
    auto &queue = ledger().queue;
    const auto found = std::find_if(queue.begin(), queue.end(), [&](const Request &one) {
        return (ticket == 0 || one.ticket == ticket) && one.kind != kTimer;
    });
    if (found == queue.end()) {
        return false;
    }
    const Request request = *found;
    queue.erase(found);
    finish(request, host::Outcome::cancelled, "it had not begun");
    saveAndAnswer({answer}, request.ticket, "");
    with_.board.refresh();
    return true;
}

// The host was killed for it: nothing of the request may come back.
void Conductor::forgetEverything() {
    // The call of a timer is the standing offer's.
    if (ledger().running && ledger().running->request.kind != kTimer) {
        finish(ledger().running->request, host::Outcome::cancelled, "while it ran");
    }
    if (ledger().standing) {
        finish(ledger().standing->offer, host::Outcome::cancelled, "while it waited");
    }
    ledger().running.reset();
    ledger().standing.reset();
    ledger().timers.clear();
    ledger().memory.clear();
    std::erase_if(ledger().queue, [](const Request &one) { return one.kind == kTimer; });
    with_.board.setDeferred(false);
    with_.book.save();
}

// Ended it is in any case; what could not be cleaned away is told to whoever asked.
void Conductor::answerCancels(const std::string &whatIsLeft) {
    std::vector<Answer> answers;
    answers.swap(cancelAnswers_);
    saveAndAnswer(std::move(answers), cancelled_, whatIsLeft);
}

// Not before it is kept that the request is over: no start may take it up again.
void Conductor::saveAndAnswer(std::vector<Answer> answers, std::uint64_t ticket,
                              const std::string &whatIsLeft) {
    with_.book.save([answers = std::move(answers), ticket,
                     whatIsLeft](const std::string &whatIsWrong) {
        const auto left =
            refusal(host::Outcome::failed, "cancel", whatIsLeft.empty() ? whatIsWrong : whatIsLeft);
        for (const Answer &answer : answers) {
            answer(left.reason.empty() ? nullptr : &left, ticket);
        }
    });
}

} // namespace otad
