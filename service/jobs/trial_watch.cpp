// SPDX-License-Identifier: MIT
#include "service/jobs/trial_watch.h"

#include "base/json.h"
#include "service/state/trial_words.h"

namespace service {

void TrialWatch::hostTells(const std::string &note, const cJSON &message) {
    HistoryLine line;
    line.event = note;
    line.version = base::textOf(&message, "version");
    line.reason = base::textOf(&message, "reason");
    if (note == "trial") {
        trial_ = {TrialNow::Step::checking, ""};
        line.reason = "bank " + base::textOf(&message, "bank") + ", boot attempts left: " +
                      std::to_string(base::numberOf(&message, "attempts"));
        line.next = "the health command, then the agent's commit check";
    } else if (note == "trial-failed") {
        line.outcome = base::Outcome::commitFailed;
        line.reasonCode = whyFailed(line.version);
        line.next = base::rowOf(line.reasonCode).remedy;
        trial_ = {TrialNow::Step::unhealthy, line.reason};
    } else if (note == "not-committed") {
        trial_ = {TrialNow::Step::notStored, line.reason};
        line.outcome = base::Outcome::failed;
        line.reasonCode = base::Reason::commitNotStored;
        line.next = "otactl commit tries again";
    } else {
        trial_ = {};
        line.reason = "bank " + base::textOf(&message, "bank");
    }
    context_.events.record(line);
}

base::Reason TrialWatch::whyFailed(const std::string &version) const {
    const FailedTrial *const failed = failedTrial(context_.status(), version);
    return trial_.step == TrialNow::Step::checking ||
                   (failed != nullptr && failed->reason == "health")
               ? base::Reason::healthFailed
               : base::Reason::bootAttemptsSpent;
}

void TrialWatch::hostReaches(const std::string &stage) {
    if (stage == "idle" && trial_.step == TrialNow::Step::checking) {
        trial_.step = TrialNow::Step::passed;
    } else if (stage == "rebooting" && context_.state != JobState::busy) {
        trial_.step = TrialNow::Step::rebooting;
    }
}

} // namespace service
