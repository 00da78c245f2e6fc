// SPDX-License-Identifier: MIT
// The requests' way to the agent: kept, in their turn, begun.
#include "host/daemon/conductor.h"

#include "host/daemon/judge.h"
#include "host/daemon/keep/deferral.h"
#include "host/daemon/keep/request_check.h"
#include "host/daemon/keep/resume_fate.h"
#include "host/message.h"
#include "platform/timers.h"

#include <algorithm>
#include <utility>

namespace otad {
namespace {

constexpr std::int64_t kMsPerSecond = 1000;
constexpr std::int64_t kKeepAgainMs = 5000;
constexpr std::int64_t kLookForAddressMs = 1000;
constexpr std::size_t kLongestQueue = 16;

} // namespace

void Conductor::accept(Request request, Answer answer) {
    if (ledger().queue.size() >= kLongestQueue) {
        const auto full =
            host::guard::Refusal{host::Outcome::queueFull, "queue",
                                 std::to_string(kLongestQueue) + " requests wait already"};
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
            const auto notKept =
                host::guard::Refusal{host::Outcome::notKept, "request", whatIsWrong};
            answer(&notKept, 0);
        }
        with_.board.refresh();
        pump();
    });
}

// One ticket given twice would end whoever waits for it with the end of another request.
void Conductor::bookLost(const TicketsTold &tickets, const host::Cause &why) {
    ledger().nextTicket = tickets.last() + 1;
    for (const auto &[ticket, version] : tickets.open()) {
        Request request;
        request.ticket = ticket;
        request.version = version;
        finish(request, host::Outcome::lost,
               {why.reason, "what was kept of it is gone: " + why.sentence});
    }
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
    Request expiry = timerRequest(name);
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
    std::erase_if(ledger().queue,
                  [&](const Request &one) { return one.kind == kTimer && timerOf(one) == name; });
    with_.board.refresh();
}

void Conductor::settingsChanged() {
    settingsChanged_ = true;
    const NodeStatus &status = with_.board.lastStatus();
    if (!ledger().standing || !ledger().standing->deferred || !wouldGoOn(status)) {
        return;
    }
    Standing &standing = *ledger().standing;
    tell("taken-up", standing.offer, "what it was put off for is over");
    standing.deferred = false;
    // The expiry that the agent put off comes again: it downloads, or activates what was
    // downloaded.
    ledger().queue.push_front(expiryOf(
        passiveVersion(status) == standing.offer.version ? TIMER_REBOOT : TIMER_DOWNLOAD_START));
    forgetDeferral_ = true;
    with_.book.save();
    with_.board.refresh();
    if (state_ == State::idle) {
        becomeIdle();
    }
}

void Conductor::pump() {
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
std::deque<Request>::iterator Conductor::nextInTurn() {
    auto &queue = ledger().queue;
    if (queue.empty() || mayBegin(queue.front())) {
        return queue.begin();
    }
    return std::find_if(queue.begin(), queue.end(),
                        [](const Request &one) { return one.kind == kTimer; });
}

bool Conductor::mayBegin(const Request &request) {
    return request.kind == kTimer ||
           (request.ticket <= keptTicket_ && failedSaves_ == 0 && !awaitsAddress(request));
}

// The agent would pass it over without a word.
bool Conductor::awaitsAddress(const Request &request) {
    with_.board.lookAtAddress();
    if (!namesTheNode(request) || !with_.board.lastStatus().mac.empty()) {
        lookForAddress_.cancel();
        return false;
    }
    lookForAddress_.setInMs(kLookForAddressMs);
    if (std::exchange(addressTold_, request.ticket) != request.ticket) {
        HistoryLine line = lineOf("request-waits", request);
        line.outcome = host::Outcome::waiting;
        line.reasonCode = host::Reason::noAddress;
        line.reason = "it names the node by its address, and the bridge br0 has none";
        line.next = host::rowOf(line.reasonCode).remedy;
        with_.chronicle.tell(line);
    }
    return true;
}

void Conductor::begin(Running running) {
    const Request kept = running.request;
    with_.board.lookAtAddress();
    if (const auto refusal =
            checkAgain(kept, judgeNow(with_.config, with_.board.lastStatus()), running.request)) {
        return endRefused(kept, *refusal);
    }
    witness_ = {};
    with_.board.setWaitReason("", "");
    settingsChanged_ = false;
    if (running.bank.empty()) {
        running.bank = with_.board.activeBank();
        running.failedTrials =
            failedTrialsOf(running.request.version, with_.board.lastStatus().failedVersions);
        running.held = passiveVersion(with_.board.lastStatus()) == running.request.version;
    }
    ledger().running = std::move(running);
    state_ = State::keeping;
    keepAndSend();
}

// It was let in once, and is not what may be let in now.
void Conductor::endRefused(const Request &request, const host::guard::Refusal &refusal) {
    ledger().running.reset();
    if (request.kind == kTimer) {
        tellRefused(request, refusal); // the ticket is another request's
    } else {
        finish(request, refusal.outcome, {host::Reason::storedRequestRefused, refusal.text()});
    }
    with_.book.save();
    becomeIdle();
}

void Conductor::tellRefused(const Request &request, const host::guard::Refusal &refusal) {
    HistoryLine line = lineOf("refused", request);
    line.outcome = refusal.outcome;
    line.reasonCode = host::Reason::storedRequestRefused;
    line.reason = refusal.text();
    line.next = "nothing: it was kept, and is dropped";
    with_.chronicle.tell(line);
}

// What runs is on the disk before the agent hears of it. A timer has run out for the agent all the
// same: it hears of that whether it can be kept or not.
void Conductor::keepAndSend() {
    with_.board.refresh();
    with_.book.save([this, life = life_](const std::string &whatIsWrong) {
        if (life != life_ || !ledger().running) {
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
void Conductor::send() {
    state_ = State::busy;
    windowWasSpent_ = windowIsSpent(ledger());
    const Request &request = ledger().running->request;
    tell("started", request);
    host_.send(host::parsed(request.event).get());
}

// Into the queue, so that a timer has its turn meanwhile; what has activated waits for the boot.
void Conductor::putBack() {
    if (ledger().running->activated) {
        return;
    }
    ledger().queue.push_front(ledger().running->request);
    ledger().running.reset();
    becomeIdle();
}

// Told once; tried until it can be.
void Conductor::notKept(const std::string &what) {
    ++failedSaves_;
    keepAgain_.setInMs(kKeepAgainMs);
    if (failedSaves_ > 1) {
        return;
    }
    logError(what);
    HistoryLine line = lineOfNow("not-kept");
    line.outcome = host::Outcome::notKept;
    line.reasonCode = host::Reason::notWritten;
    line.reason = what;
    line.next = "make room in the state directory; it is tried again every " +
                std::to_string(kKeepAgainMs / kMsPerSecond) + " s";
    with_.chronicle.tell(line);
}

void Conductor::keepAgain() {
    if (state_ == State::keeping) {
        return keepAndSend();
    }
    with_.book.save([this](const std::string &whatIsWrong) {
        if (!whatIsWrong.empty()) {
            notKept(whatIsWrong);
        } else {
            failedSaves_ = 0;
            pump();
        }
    });
}

} // namespace otad
