// SPDX-License-Identifier: MIT
// Deadlines by name.
#include "desk/named_timers.h"

#include <algorithm>

namespace desk {

NamedTimers::Clock::time_point NamedTimers::now() const {
    return virtualTime_ ? virtualNow_ : Clock::now();
}

void NamedTimers::start(const std::string &name, int seconds) {
    deadlines_[name] = now() + std::chrono::seconds(std::max(seconds, 0));
}

std::optional<std::string> NamedTimers::takeDue() {
    const auto first =
        std::min_element(deadlines_.begin(), deadlines_.end(),
                         [](const auto &a, const auto &b) { return a.second < b.second; });
    if (first == deadlines_.end()) {
        return std::nullopt;
    }
    if (virtualTime_) {
        virtualNow_ = std::max(virtualNow_, first->second);
    }
    if (first->second > now()) {
        return std::nullopt;
    }
    std::string name = first->first;
    deadlines_.erase(first);
    return name;
}

} // namespace desk
