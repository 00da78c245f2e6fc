// SPDX-License-Identifier: MIT
#include "cli/transfer_rate.h"

#include <cmath>

namespace cli {
namespace {

constexpr std::chrono::seconds kWindow(10);
constexpr std::chrono::milliseconds kEnough(200); // between two counts that a rate is made of

} // namespace

void TransferRate::count(std::uint64_t bytes, Time now) {
    if (!samples_.empty() && bytes < samples_.back().bytes) {
        samples_.clear();
    }
    samples_.push_back({bytes, now});
    while (samples_.size() > 2 && now - samples_.at(1).time >= kWindow) {
        samples_.pop_front();
    }
}

std::optional<std::uint64_t> TransferRate::bytesPerSecond() const {
    if (samples_.empty()) {
        return std::nullopt;
    }
    const Sample &first = samples_.front();
    const Sample &last = samples_.back();
    if (last.time - first.time < kEnough) {
        return std::nullopt;
    }
    const std::chrono::duration<double> span = last.time - first.time;
    return static_cast<std::uint64_t>(static_cast<double>(last.bytes - first.bytes) / span.count());
}

std::optional<std::uint64_t> TransferRate::secondsLeft(std::uint32_t percent) const {
    const std::optional<std::uint64_t> rate = bytesPerSecond();
    if (!rate || *rate == 0 || percent == 0 || percent > 100) {
        return std::nullopt;
    }
    const auto bytes = static_cast<double>(samples_.back().bytes);
    const double left = bytes * (100 - percent) / percent;
    return static_cast<std::uint64_t>(std::ceil(left / static_cast<double>(*rate)));
}

} // namespace cli
