// SPDX-License-Identifier: MIT
// The series of failed downloads: the agent counts it for as long as its process lives, which may
// end between two attempts; the ledger counts on.
#include "service/job_runner.h"

#include "base/message.h"
#include "otaSwAgent/status_words.h"
#include "platform/timers.h"
#include "service/state/agent_memory_text.h"

#include <algorithm>

namespace service {
namespace {

constexpr int kLaterDelay = 120; // seconds; the first of a series is the agent's choice by role

} // namespace

std::optional<int> JobRunner::hostStartsTimer(const std::string &name, int seconds) {
    observed_.armedTimer = true;
    const bool retry = state_ == State::busy && name == TIMER_DOWNLOAD_RETRY;
    return retry ? attemptFailed(seconds) : seconds;
}

void JobRunner::hostStopsTimer(const std::string &name) {
    observed_.retryStopped = observed_.retryStopped || name == TIMER_DOWNLOAD_RETRY;
}

std::optional<int> JobRunner::attemptFailed(int seconds) {
    observed_.attemptFailed = true;
    const int attempt = ledger().failedDownloads + 1;
    observed_.lastAttempt = attempt >= Ledger::kMaxFailedDownloads;
    if (observed_.lastAttempt) {
        return std::nullopt;
    }
    // An agent that counts fewer asks for the longer delay of a first attempt.
    return attempt == 1 ? seconds : std::min(seconds, kLaterDelay);
}

// The last attempt is reported by the agent as the agent's own count would have it. True: the call
// is not over yet.
bool JobRunner::endSeries(const cJSON &message) {
    const AgentMemoryText memory(
        base::printed(cJSON_GetObjectItemCaseSensitive(&message, "memory")));
    // A node that is neither gateway nor extender gets no delay for a first failure, and the
    // agent's first need not be the first of the series.
    if (observed_.retryStopped && !observed_.attemptFailed &&
        memory.number(AgentMemoryText::kRetryPending, 0) != 0) {
        const std::optional<int> seconds =
            attemptFailed(ledger().failedDownloads == 0 ? 0 : kLaterDelay);
        if (seconds && *seconds > 0) {
            deps_.timers.start(TIMER_DOWNLOAD_RETRY, *seconds);
        }
    }
    if (!observed_.lastAttempt || observed_.toldLastAttempt) {
        return false;
    }
    observed_.toldLastAttempt = true;
    tell("series-ended", ledger().running->request,
         "download " + std::to_string(Ledger::kMaxFailedDownloads) +
             " in a row failed; the agent counts fewer, since its process was started anew");
    host_.send(base::message({{"event", "give-up-download"}}).get());
    return true;
}

void JobRunner::countDownloads() {
    if (observed_.downloaded || observed_.lastWord == OTA_STATUS_RECONNECT) {
        ledger().failedDownloads = 0;
    } else if (observed_.attemptFailed) {
        ++ledger().failedDownloads;
    }
}

// Its count would end the next series too early.
void JobRunner::renewHost() {
    renewing_ = true;
    state_ = State::off;
    host_.kill(); // its end comes from the loop
}

} // namespace service
