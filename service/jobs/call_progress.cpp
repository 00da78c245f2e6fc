// SPDX-License-Identifier: MIT
#include "service/jobs/call_progress.h"

namespace service {

void CallProgress::hostReaches(const std::string &stage) {
    trial_.hostReaches(stage);
    observe(stage);
    // A call's last word of its stages; what comes of the call tells the next one.
    if (stage == context_.status().stage ||
        (stage == "idle" &&
         (context_.state == JobState::busy || context_.state == JobState::startingUp))) {
        return;
    }
    context_.deps.eventLog.endStage();
    // The agent may go on behind the reboot that it asked for; the node goes down.
    if (!context_.observed.activated || stage == "rebooting") {
        context_.deps.board.setStage(stage);
    }
    if (context_.ledger().running) {
        context_.events.record("stage", context_.ledger().running->request, stage);
    }
}

void CallProgress::observe(const std::string &stage) {
    CallObserver &observed = context_.observed;
    if (stage == "downloading") {
        observed.activating = false; // it failed, and the agent goes on all the same
        observed.cause = {};
    } else if (stage == "verifying") {
        observed.downloaded = true;
    } else if (stage == "writing") {
        observed.wrote = true;
    } else if (stage == "activating") {
        observed.activating = true;
    } else if (stage == "rebooting" && context_.state == JobState::busy && !observed.activated) {
        observed.activated = true;
        reboot_.await();
        if (context_.ledger().running) {
            context_.ledger().running->activated = true;
            context_.deps.book.save();
        }
    }
}

// One that cannot be kept must not hold up the reboot: the banks tell what happened, too.
void CallProgress::hostActivated(std::function<void()> kept) {
    context_.deps.book.save([kept = std::move(kept)](const base::Result<void> &saved) {
        if (!saved) {
            logError(saved.error().text + "; the activation is not noted down");
        }
        kept();
    });
}

void CallProgress::hostReports(const std::string &word, const std::string &record) {
    context_.observed.lastWord = word;
    context_.ledger().lastWord = word;
    context_.ledger().lastRecord = record;
    context_.deps.board.setReport(word, record);
    HistoryLine line = context_.events.lineOfNow("status");
    line.outcome = outcomeOfWord(word).value_or(base::Outcome::done);
    line.reason = word;
    context_.events.record(line);
}

void CallProgress::hostHandedOver(const base::Result<void> &handed) {
    context_.observed.handedOver = static_cast<bool>(handed);
    context_.observed.notHandedOver = handed ? base::Error{} : handed.error();
}

} // namespace service
