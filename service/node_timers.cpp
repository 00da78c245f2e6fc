// SPDX-License-Identifier: MIT
#include "service/node_timers.h"

#include "base/timed.h"

#include <algorithm>
#include <ctime>

namespace service {
namespace {

bool endsEarlier(const ArmedTimer &one, const ArmedTimer &other) {
    return one.endBootMs < other.endBootMs;
}

} // namespace

NodeTimers::NodeTimers(sd_event *loop, std::function<void(const std::string &)> ranOut)
    : ranOut_(std::move(ranOut)), alarm_(loop, [this] { takeDue(); }) {}

void NodeTimers::start(const std::string &name, int seconds) {
    stop(name);
    const std::int64_t length = std::max(seconds, 0);
    const std::int64_t now = std::time(nullptr);
    timers_.push_back(
        {name, seconds, bootNowMs() + length * base::kMsPerSecond, now, now + length});
    setAlarm();
}

bool NodeTimers::stop(const std::string &name) {
    const auto removed =
        std::erase_if(timers_, [&](const ArmedTimer &timer) { return timer.name == name; });
    setAlarm();
    return removed > 0;
}

void NodeTimers::restore(std::vector<ArmedTimer> timers) {
    timers_ = std::move(timers);
    setAlarm();
}

void NodeTimers::setAlarm() {
    const auto first = std::min_element(timers_.begin(), timers_.end(), endsEarlier);
    if (first == timers_.end()) {
        alarm_.cancel();
    } else {
        alarm_.setInMs(first->endBootMs - bootNowMs());
    }
}

void NodeTimers::takeDue() {
    const auto first = std::min_element(timers_.begin(), timers_.end(), endsEarlier);
    if (first != timers_.end() && first->endBootMs <= bootNowMs()) {
        const std::string name = first->name;
        timers_.erase(first);
        setAlarm();
        ranOut_(name);
        return;
    }
    setAlarm();
}

std::uint32_t secondsLeft(const ArmedTimer &timer) {
    const std::int64_t left = timer.endBootMs - bootNowMs();
    return left <= 0
               ? 0
               : static_cast<std::uint32_t>((left + base::kMsPerSecond - 1) / base::kMsPerSecond);
}

} // namespace service
