// SPDX-License-Identifier: MIT
#include "service/jobs/save_retries.h"

#include "base/timed.h"

namespace service {
namespace {

constexpr std::int64_t kSaveAgainMs = 5000;

} // namespace

void SaveRetries::failed(const std::string &what) {
    ++failures_;
    saveAgain_.setInMs(kSaveAgainMs);
    if (failures_ > 1) {
        return;
    }
    logError(what);
    HistoryLine line = context_.events.lineOfNow("not-kept");
    line.outcome = base::Outcome::notKept;
    line.reasonCode = base::Reason::notWritten;
    line.reason = what;
    line.next = "make room in the state directory; it is tried again every " +
                std::to_string(kSaveAgainMs / base::kMsPerSecond) + " s";
    context_.events.record(line);
}

} // namespace service
