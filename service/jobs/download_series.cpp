// SPDX-License-Identifier: MIT
#include "service/jobs/download_series.h"

#include "base/json.h"
#include "otaSwAgent/status_words.h"
#include "platform/timers.h"
#include "service/state/agent_memory_text.h"

#include <algorithm>

namespace service {
namespace {

constexpr int kLaterDelay = 120; // seconds; the first of a series is the agent's choice by role

} // namespace

std::optional<int> DownloadSeries::hostStartsTimer(const std::string &name, int seconds) {
    context_.observed.armedTimer = true;
    const bool retry = context_.state == JobState::busy && name == TIMER_DOWNLOAD_RETRY;
    return retry ? attemptFailed(seconds) : seconds;
}

void DownloadSeries::hostStopsTimer(const std::string &name) {
    CallObserver &observed = context_.observed;
    observed.retryStopped = observed.retryStopped || name == TIMER_DOWNLOAD_RETRY;
}

std::optional<int> DownloadSeries::attemptFailed(int seconds) {
    context_.observed.attemptFailed = true;
    const int attempt = context_.ledger().failedDownloads + 1;
    context_.observed.lastAttempt = attempt >= Ledger::kMaxFailedDownloads;
    if (context_.observed.lastAttempt) {
        return std::nullopt;
    }
    // An agent that counts fewer asks for the longer delay of a first attempt.
    return attempt == 1 ? seconds : std::min(seconds, kLaterDelay);
}

bool DownloadSeries::reportEnd(const cJSON &message) {
    CallObserver &observed = context_.observed;
    const AgentMemoryText memory(base::printed(base::itemOf(&message, "memory")));
    // A node that is neither gateway nor extender gets no delay for a first failure, and the
    // agent's first need not be the first of the series.
    if (observed.retryStopped && !observed.attemptFailed &&
        memory.number(AgentMemoryText::kRetryPending, 0) != 0) {
        const std::optional<int> seconds =
            attemptFailed(context_.ledger().failedDownloads == 0 ? 0 : kLaterDelay);
        if (seconds && *seconds > 0) {
            context_.deps.timers.start(TIMER_DOWNLOAD_RETRY, *seconds);
        }
    }
    if (!observed.lastAttempt || observed.toldLastAttempt) {
        return false;
    }
    observed.toldLastAttempt = true;
    context_.events.record(
        "series-ended", context_.ledger().running->request,
        "download " + std::to_string(Ledger::kMaxFailedDownloads) +
            " in a row failed; the agent counts fewer, since its process was started anew");
    host_.send(base::message({{"event", "give-up-download"}}));
    return true;
}

void DownloadSeries::count() {
    const CallObserver &observed = context_.observed;
    if (observed.downloaded || observed.lastWord == OTA_STATUS_RECONNECT) {
        context_.ledger().failedDownloads = 0;
    } else if (observed.attemptFailed) {
        ++context_.ledger().failedDownloads;
    }
}

} // namespace service
