// SPDX-License-Identifier: MIT
// The virtual clock and the stand-ins that read it.
#include "clock.h"

#include "agent_library.h"
#include "journal.h"
#include "next_function.h"

#include <sys/timeb.h>
#include <unistd.h>

namespace ota::test {

namespace {

// More than any test waits for; the agent would otherwise poll for ever.
constexpr int kMostSleeps = 100000;
constexpr int kSleptTooOften = 99;

} // namespace

void Clock::set(const char *localTime) {
    std::tm broken{};
    if (strptime(localTime, "%Y-%m-%d %H:%M:%S", &broken) == nullptr) {
        ADD_FAILURE() << "not a local time: " << localTime;
        return;
    }
    broken.tm_isdst = -1;
    mNow = std::mktime(&broken);
}

void Clock::setZone(const char *zone) {
    setenv("TZ", zone, 1);
    tzset();
}

void Clock::reset() {
    *this = Clock{};
    setZone("UTC");
    set("2024-03-05 10:00:00");
}

void Clock::sleep(unsigned seconds) {
    mNow += seconds;
    if (onSleep) {
        onSleep(++mSleeps);
    } else if (++mSleeps > kMostSleeps) {
        leaveAgent(kSleptTooOften);
    }
}

Clock &agentClock() {
    static Clock theClock;
    return theClock;
}

} // namespace ota::test

using ota::test::agentIsActive;
using ota::test::HarnessScope;
using ota::test::Kind;
using ota::test::nextFunction;

extern "C" {

unsigned sleep(unsigned seconds) {
    if (!agentIsActive()) {
        return nextFunction<unsigned(unsigned)>("sleep")(seconds);
    }
    const HarnessScope harness;
    ota::test::journal().add(Kind::kAction, "sleep " + std::to_string(seconds));
    ota::test::agentClock().sleep(seconds);
    return 0;
}

time_t time(time_t *result) noexcept {
    if (!agentIsActive()) {
        static auto *const next = nextFunction<time_t(time_t *)>("time");
        return next(result);
    }
    if (result != nullptr) {
        *result = ota::test::agentClock().now();
    }
    return ota::test::agentClock().now();
}

int ftime(struct timeb *result) {
    if (!agentIsActive()) {
        return nextFunction<int(struct timeb *)>("ftime")(result);
    }
    *result = {};
    result->time = ota::test::agentClock().now();
    return 0;
}

} // extern "C"
