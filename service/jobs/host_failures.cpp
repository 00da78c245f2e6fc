// SPDX-License-Identifier: MIT
#include "service/jobs/host_failures.h"

#include "base/timed.h"

#include <algorithm>

namespace service {
namespace {

constexpr std::int64_t kLongestPauseMs = 30'000;
constexpr int kDoublings = 5; // of one second, until the longest pause is reached

} // namespace

std::int64_t HostFailures::msBeforeStart() const {
    return crashes_ == 0 ? 0
                         : std::min(base::kMsPerSecond << std::min(crashes_ - 1, kDoublings),
                                    kLongestPauseMs);
}

void HostFailures::hostHasStarted() {
    last_ = {};
    cannotStart_ = false;
    context_.deps.board.setHostFailure(last_);
}

// Only a call that the agent had begun can be at fault.
void HostFailures::hostCrashed(const std::string &how, bool inTheCall) {
    ++crashes_;
    HistoryLine line = context_.events.lineOfNow("host-crashed");
    line.outcome = base::Outcome::hostCrashed;
    line.reasonCode = base::Reason::hostCrashed;
    line.next =
        "it is started again in " + std::to_string(msBeforeStart() / base::kMsPerSecond) + " s";
    line.reason = how;
    if (!lastWords_.text.empty()) {
        line.reasonCode = lastWords_.orBecause(line.reasonCode).reason;
        line.reason += ": " + lastWords_.text;
    }
    last_ = {lastWords_.text.empty() ? "the host process: " + how : lastWords_.text,
             line.reasonCode};
    context_.deps.board.setHostFailure(last_);
    context_.events.record(line);
    if (context_.ledger().running && inTheCall) {
        ++context_.ledger().running->crashes;
        context_.deps.book.save();
    }
}

std::string HostFailures::whyNotStarted() const {
    return cannotStart_ ? "the agent cannot start: " + last_.text + " (" +
                              base::rowOf(last_.reason).name + ")"
                        : "the agent is starting";
}

} // namespace service
