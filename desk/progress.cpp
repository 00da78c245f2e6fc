// SPDX-License-Identifier: MIT
// Percentage, rate and time left.
#include "desk/progress.h"

#include <cmath>
#include <fstream>

namespace desk {

void ProgressFile::restart() {
    percent_ = 0;
    begin_ = Clock::now();
}

std::optional<Progress> ProgressFile::look() {
    // The file is rewritten by the shell and may be empty for a moment, or hold a failure mark.
    std::ifstream file(path_);
    int percent = 0;
    if (!(file >> percent) || percent <= percent_ || percent > 100) {
        return std::nullopt;
    }
    percent_ = percent;
    Progress progress{.percent = percent};
    const std::chrono::duration<double> elapsed = Clock::now() - begin_;
    const auto bytes = static_cast<double>(imageBytes_) * percent / 100;
    if (elapsed.count() > 0) {
        const double rate = bytes / elapsed.count();
        progress.bytesPerSecond = static_cast<std::uint64_t>(rate);
        progress.secondsLeft = std::llround((static_cast<double>(imageBytes_) - bytes) / rate);
    }
    return progress;
}

} // namespace desk
