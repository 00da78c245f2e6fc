// SPDX-License-Identifier: MIT
#include "service/jobs/call_start.h"

#include "base/json.h"
#include "service/state/deferral.h"
#include "service/state/explain.h"
#include "service/state/resume_fate.h"

#include <utility>

namespace service {

void CallStart::begin(Running running) {
    const Request kept = running.request;
    context_.deps.board.lookAtAddress();
    if (const auto refusal = checkAgain(kept, context_.judge(), running.request)) {
        return refuse(kept, *refusal);
    }
    context_.observed = {};
    context_.deps.board.setWaitReason("", "");
    deferred_.callBegins();
    if (running.bank.empty()) {
        running.bank = context_.deps.board.activeBank();
        running.failedTrials =
            failedTrialsOf(running.request.version, context_.status().failedVersions);
        running.held = passiveVersion(context_.status()) == running.request.version;
    }
    context_.ledger().running = std::move(running);
    context_.state = JobState::keeping;
    keepAndSend();
}

// It was let in once, and is not what may be let in now.
void CallStart::refuse(const Request &request, const guard::Refusal &refusal) {
    context_.ledger().running.reset();
    if (request.kind == kTimer) {
        context_.events.refuse(request, refusal); // the ticket is another request's
    } else {
        context_.events.finish(request, refusal.outcome,
                               {refusal.text(), base::Reason::storedRequestRefused});
    }
    context_.deps.book.save();
    notBegun_();
}

void CallStart::keepAndSend() {
    context_.deps.board.refresh();
    context_.deps.book.save([this, of = host_.generation()](const base::Result<void> &saved) {
        // Else the host ended meanwhile, or the request was cancelled.
        if (of == host_.generation() && context_.ledger().running) {
            kept(saved);
        }
    });
}

void CallStart::kept(const base::Result<void> &saved) {
    const bool expiry = context_.ledger().running->request.kind == kTimer;
    if (saved) {
        saves_.succeeded();
    } else {
        saves_.failed(saved.error().text + (expiry ? "; the timer is carried out all the same"
                                                   : "; the request waits until it can be kept"));
    }
    if (context_.state == JobState::keeping) {
        expiry || saved ? send() : putBack();
    }
}

// It is not known before the end of the call whether an offer takes the place of another.
void CallStart::send() {
    context_.state = JobState::busy;
    context_.observed.windowWasSpent = windowIsSpent(context_.ledger());
    const Request &request = context_.ledger().running->request;
    context_.events.record("started", request);
    host_.send(base::parsed(request.event));
}

// Into the queue, so that a timer has its turn meanwhile; what has activated waits for the boot.
void CallStart::putBack() {
    Ledger &ledger = context_.ledger();
    if (ledger.running->activated) {
        return;
    }
    ledger.queue.push_front(ledger.running->request);
    ledger.running.reset();
    notBegun_();
}

} // namespace service
