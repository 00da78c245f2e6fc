// SPDX-License-Identifier: MIT
#include "service/jobs/deferred_offer.h"

#include "platform/timers.h"
#include "service/state/agent_memory_text.h"
#include "service/state/deferral.h"

#include <utility>

namespace service {

void DeferredOffer::putOff() {
    WaitingOffer &waiting = *context_.ledger().waiting;
    waiting.deferred = true;
    record(waiting.offer);
    if (settingsChanged_) {
        settingsChanged();
    }
}

void DeferredOffer::record(const Request &offer) {
    const NodeStatus &status = context_.status();
    HistoryLine line = JobEvents::lineOf("deferred", offer);
    line.outcome = base::Outcome::deferred;
    line.reasonCode = isPutOffByMode(status) ? base::Reason::notAGateway : base::Reason::onboarding;
    line.reason = whyPutOff(status);
    line.next = "taken up " + whenTakenUp(status);
    context_.events.record(line);
}

// Of another offer the mark would be told, too.
void DeferredOffer::callEnded(bool putOff) {
    const std::optional<WaitingOffer> &waiting = context_.ledger().waiting;
    takeMarkBack_ = takeMarkBack_ || (putOff && !(waiting && waiting->deferred));
}

void DeferredOffer::settingsChanged() {
    settingsChanged_ = true;
    Ledger &ledger = context_.ledger();
    const NodeStatus &status = context_.status();
    if (!ledger.waiting || !ledger.waiting->deferred || !wouldGoOn(status)) {
        return;
    }
    WaitingOffer &waiting = *ledger.waiting;
    context_.events.record("taken-up", waiting.offer, "what it was put off for is over");
    waiting.deferred = false;
    // The expiry that the agent put off comes again: it downloads, or activates what was
    // downloaded.
    ledger.queue.push_front(context_.expiryOf(
        passiveVersion(status) == waiting.offer.version ? TIMER_REBOOT : TIMER_DOWNLOAD_START));
    takeMarkBack_ = true;
    context_.deps.book.save();
    context_.deps.board.refresh();
    if (context_.state == JobState::idle) {
        begin_();
    }
}

bool DeferredOffer::takesMarkBack() {
    if (!std::exchange(takeMarkBack_, false)) {
        return false;
    }
    AgentMemoryText memory(context_.ledger().memory);
    if (!memory.setNumber(AgentMemoryText::kDeferred, 0)) {
        return false;
    }
    context_.ledger().memory = memory.print();
    return true;
}

} // namespace service
