// SPDX-License-Identifier: MIT
// When an armed timer runs out, in the boot that it was armed in and in a later one.
#include "service/state/resume.h"

#include "base/timed.h"

#include <algorithm>

namespace service {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

// The same time of day, the next time it comes round; a target of exactly now is a day away.
std::int64_t untilNextDay(std::int64_t missedBySeconds) {
    return kSecondsPerDay - missedBySeconds % kSecondsPerDay;
}

std::int64_t secondsOverABoot(const ArmedTimer &timer, std::int64_t wallNow, bool timeOfDay) {
    const std::int64_t left = timer.endsAt - wallNow;
    if (left > 0) {
        // More than all of it: the clock went back behind the arming.
        return std::min<std::int64_t>(left, std::max(timer.seconds, 0));
    }
    return timeOfDay ? untilNextDay(-left) : 0;
}

} // namespace

std::int64_t remainingMs(const ArmedTimer &timer, bool sameBoot, const BootFacts &facts,
                         bool timeOfDay) {
    if (sameBoot) {
        return std::max<std::int64_t>(timer.endBootMs - facts.bootNowMs, 0);
    }
    return secondsOverABoot(timer, facts.wallNow, timeOfDay) * base::kMsPerSecond;
}

} // namespace service
