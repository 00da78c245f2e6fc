// SPDX-License-Identifier: MIT
// The requests' way to the agent: kept, in their turn, begun.
#include "service/job_runner.h"

#include "base/message.h"
#include "platform/timers.h"
#include "service/judge.h"
#include "service/state/deferral.h"
#include "service/state/request_check.h"
#include "service/state/resume_fate.h"

#include <algorithm>
#include <utility>

namespace service {
namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kKeepAgainMs = 5000;
constexpr std::int64_t kLookForAddressMs = 1000;
constexpr std::size_t kLongestQueue = 16;

} // namespace

void JobRunner::accept(Request request, Answer answer) {
    if (ledger().queue.size() >= kLongestQueue) {
        const auto full = guard::Refusal{base::Outcome::queueFull, "queue",
                                         std::to_string(kLongestQueue) + " requests wait already"};
        return answer(&full, 0);
    }
    const std::uint64_t ticket = request.ticket = ledger().nextTicket++;
    ledger().queue.push_back(std::move(request));
    deps_.book.save([this, ticket, answer = std::move(answer)](const std::string &whatIsWrong) {
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
                deps_.book.save(); // a later write may have taken it along
            }
            const auto notKept = guard::Refusal{base::Outcome::notKept, "request", whatIsWrong};
            answer(&notKept, 0);
        }
        deps_.board.refresh();
        pump();
    });
}

// One ticket given twice would end whoever waits for it with the end of another request.
void JobRunner::bookLost(const TicketsTold &tickets, const base::Cause &why) {
    ledger().nextTicket = tickets.last() + 1;
    for (const auto &[ticket, version] : tickets.open()) {
        Request request;
        request.ticket = ticket;
        request.version = version;
        finish(request, base::Outcome::lost,
               {why.reason, "what was kept of it is gone: " + why.sentence});
    }
}

void JobRunner::timerRanOut(const std::string &name) {
    Request expiry = expiryOf(name);
    tell("timer-ran-out", expiry, name);
    // Not both: kept as armed and as expired, it would run out twice after a crash.
    std::erase_if(ledger().timers, [&](const ArmedTimer &timer) { return timer.name == name; });
    ledger().queue.push_back(std::move(expiry));
    deps_.book.save();
    deps_.board.refresh();
    pump();
}

Request JobRunner::expiryOf(const std::string &name) const {
    Request expiry = timerRequest(name);
    if (const Request *const offer = currentOffer()) {
        expiry.ticket = offer->ticket;
        expiry.version = offer->version;
        expiry.policy = offer->policy;
    }
    return expiry;
}

const Request *JobRunner::currentOffer() const {
    const Ledger &ledger = deps_.book.ledger();
    if (ledger.standing) {
        return &ledger.standing->offer;
    }
    return ledger.running && ledger.running->request.kind == kNewImage ? &ledger.running->request
                                                                       : nullptr;
}

// One that ran out while the agent was busy is still to come for it.
bool JobRunner::timersAwaited() const {
    const std::deque<Request> &queue = deps_.book.ledger().queue;
    return !deps_.timers.armed().empty() ||
           std::any_of(queue.begin(), queue.end(),
                       [](const Request &one) { return one.kind == kTimer; });
}

void JobRunner::timerStopped(const std::string &name) {
    // It may have run out while the agent was busy: then it waits in the queue, and must not fire.
    std::erase_if(ledger().queue,
                  [&](const Request &one) { return one.kind == kTimer && timerOf(one) == name; });
    deps_.board.refresh();
}

void JobRunner::settingsChanged() {
    settingsChanged_ = true;
    const NodeStatus &status = deps_.board.lastStatus();
    if (!ledger().standing || !ledger().standing->deferred || !wouldGoOn(status)) {
        return;
    }
    WaitingOffer &standing = *ledger().standing;
    tell("taken-up", standing.offer, "what it was put off for is over");
    standing.deferred = false;
    // The expiry that the agent put off comes again: it downloads, or activates what was
    // downloaded.
    ledger().queue.push_front(expiryOf(
        passiveVersion(status) == standing.offer.version ? TIMER_REBOOT : TIMER_DOWNLOAD_START));
    forgetDeferral_ = true;
    deps_.book.save();
    deps_.board.refresh();
    if (state_ == State::idle) {
        becomeIdle();
    }
}

void JobRunner::pump() {
    if (state_ != State::idle || cancelling_ || rebootAwaited()) {
        return;
    }
    const auto next = nextInTurn();
    if (next == ledger().queue.end()) {
        return;
    }
    Running running;
    running.request = *next;
    running.starts = 1;
    ledger().queue.erase(next);
    begin(std::move(running));
}

// A timer that ran out waits for the agent alone: not behind a request that waits for more.
std::deque<Request>::iterator JobRunner::nextInTurn() {
    auto &queue = ledger().queue;
    if (queue.empty() || mayBegin(queue.front())) {
        return queue.begin();
    }
    return std::find_if(queue.begin(), queue.end(),
                        [](const Request &one) { return one.kind == kTimer; });
}

bool JobRunner::mayBegin(const Request &request) {
    return request.kind == kTimer ||
           (request.ticket <= keptTicket_ && failedSaves_ == 0 && !awaitsAddress(request));
}

// The agent would pass it over without a word.
bool JobRunner::awaitsAddress(const Request &request) {
    deps_.board.lookAtAddress();
    if (!namesTheNode(request) || !deps_.board.lastStatus().mac.empty()) {
        lookForAddress_.cancel();
        return false;
    }
    lookForAddress_.setInMs(kLookForAddressMs);
    if (std::exchange(addressTold_, request.ticket) != request.ticket) {
        HistoryLine line = lineOf("request-waits", request);
        line.outcome = base::Outcome::waiting;
        line.reasonCode = base::Reason::noAddress;
        line.reason = "it names the node by its address, and the bridge br0 has none";
        line.next = base::rowOf(line.reasonCode).remedy;
        deps_.eventLog.record(line);
    }
    return true;
}

void JobRunner::begin(Running running) {
    const Request kept = running.request;
    deps_.board.lookAtAddress();
    if (const auto refusal =
            checkAgain(kept, judgeNow(deps_.config, deps_.board.lastStatus()), running.request)) {
        return endRefused(kept, *refusal);
    }
    observed_ = {};
    deps_.board.setWaitReason("", "");
    settingsChanged_ = false;
    if (running.bank.empty()) {
        running.bank = deps_.board.activeBank();
        running.failedTrials =
            failedTrialsOf(running.request.version, deps_.board.lastStatus().failedVersions);
        running.held = passiveVersion(deps_.board.lastStatus()) == running.request.version;
    }
    ledger().running = std::move(running);
    state_ = State::keeping;
    keepAndSend();
}

// It was let in once, and is not what may be let in now.
void JobRunner::endRefused(const Request &request, const guard::Refusal &refusal) {
    ledger().running.reset();
    if (request.kind == kTimer) {
        tellRefused(request, refusal); // the ticket is another request's
    } else {
        finish(request, refusal.outcome, {base::Reason::storedRequestRefused, refusal.text()});
    }
    deps_.book.save();
    becomeIdle();
}

void JobRunner::tellRefused(const Request &request, const guard::Refusal &refusal) {
    HistoryLine line = lineOf("refused", request);
    line.outcome = refusal.outcome;
    line.reasonCode = base::Reason::storedRequestRefused;
    line.reason = refusal.text();
    line.next = "nothing: it was kept, and is dropped";
    deps_.eventLog.record(line);
}

// What runs is on the disk before the agent hears of it. A timer has run out for the agent all the
// same: it hears of that whether it can be kept or not.
void JobRunner::keepAndSend() {
    deps_.board.refresh();
    deps_.book.save([this, hostGeneration = hostGeneration_](const std::string &whatIsWrong) {
        if (hostGeneration != hostGeneration_ || !ledger().running) {
            return; // the host ended meanwhile, or the request was cancelled
        }
        const bool expiry = ledger().running->request.kind == kTimer;
        if (!whatIsWrong.empty()) {
            notKept(whatIsWrong + (expiry ? "; the timer is carried out all the same"
                                          : "; the request waits until it can be kept"));
        } else {
            failedSaves_ = 0;
        }
        if (state_ == State::keeping) {
            expiry || whatIsWrong.empty() ? send() : putBack();
        }
    });
}

// It is not known before the end of the call whether an offer takes the place of another.
void JobRunner::send() {
    state_ = State::busy;
    windowWasSpent_ = windowIsSpent(ledger());
    const Request &request = ledger().running->request;
    tell("started", request);
    host_.send(base::parsed(request.event).get());
}

// Into the queue, so that a timer has its turn meanwhile; what has activated waits for the boot.
void JobRunner::putBack() {
    if (ledger().running->activated) {
        return;
    }
    ledger().queue.push_front(ledger().running->request);
    ledger().running.reset();
    becomeIdle();
}

// Told once; tried until it can be.
void JobRunner::notKept(const std::string &what) {
    ++failedSaves_;
    keepAgain_.setInMs(kKeepAgainMs);
    if (failedSaves_ > 1) {
        return;
    }
    logError(what);
    HistoryLine line = lineOfNow("not-kept");
    line.outcome = base::Outcome::notKept;
    line.reasonCode = base::Reason::notWritten;
    line.reason = what;
    line.next = "make room in the state directory; it is tried again every " +
                std::to_string(kKeepAgainMs / kMsPerSecond) + " s";
    deps_.eventLog.record(line);
}

void JobRunner::keepAgain() {
    if (state_ == State::keeping) {
        return keepAndSend();
    }
    deps_.book.save([this](const std::string &whatIsWrong) {
        if (!whatIsWrong.empty()) {
            notKept(whatIsWrong);
        } else {
            failedSaves_ = 0;
            pump();
        }
    });
}

} // namespace service
