// SPDX-License-Identifier: MIT
// When an armed timer runs out after a restart and after a boot, with a clock that may be wrong.
#include "service/state/resume.h"

#include "tests/unit/service/state/kept_requests.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr std::int64_t kDay = 86'400;

struct Row {
    const char *name;
    int seconds; // as armed, 100 s before the restart
    bool sameBoot;
    std::int64_t wallNow; // after the arming, in seconds; the clock may be wrong
    bool timeOfDay;
    std::int64_t expectedMs;
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.name; }

class ArmedTimers : public testing::TestWithParam<Row> {};

TEST_P(ArmedTimers, RunOutWhenTheyShould) {
    const Row &row = GetParam();
    service::BootFacts facts = row.sameBoot ? sameBoot() : otherBoot();
    facts.wallNow = kArmedAt + row.wallNow;
    EXPECT_EQ(service::remainingMs(armed("timer", row.seconds), row.sameBoot, facts, row.timeOfDay),
              row.expectedMs);
}

INSTANTIATE_TEST_SUITE_P(
    All, ArmedTimers,
    testing::Values(Row{"SameBootCountsOn", 1800, true, 100, false, 1'700'000},
                    Row{"SameBootDoesNotAskTheWallClock", 1800, true, -kArmedAt, false, 1'700'000},
                    Row{"SameBootIsDueOnceItIsOver", 60, true, 100, false, 0},
                    Row{"SameBootIsDueAlsoForATimeOfDay", 60, true, 100, true, 0},
                    Row{"SameBootIsDueWhereTheLengthWasNegative", -5, true, 100, false, 0},
                    Row{"OtherBootCountsByTheWallClock", 1800, false, 600, false, 1'200'000},
                    Row{"OtherBootCountsForATimeOfDayToo", 1800, false, 600, true, 1'200'000},
                    Row{"OtherBootIsDueOnceItIsOver", 1800, false, 1801, false, 0},
                    Row{"OtherBootIsDueDaysLater", 1800, false, 9 * kDay, false, 0},
                    Row{"OtherBootIsDueInTheVerySecond", 1800, false, 1800, false, 0},
                    Row{"OtherBootWithTheClockAt1970TakesAllSeconds", 1800, false, -kArmedAt + 30,
                        false, 1'800'000},
                    Row{"OtherBootWithTheClockAt1970TakesAllSecondsForATimeOfDay", 1800, false,
                        -kArmedAt, true, 1'800'000},
                    Row{"OtherBootWithTheClockStepsBackABit", 1800, false, -1, false, 1'800'000},
                    Row{"OtherBootInTheSecondOfTheArming", 1800, false, 0, false, 1'800'000},
                    Row{"OtherBootMissedTheTimeOfDayAnHourAgo", 1800, false, 1800 + 3600, true,
                        (kDay - 3600) * 1000},
                    Row{"OtherBootMissedTheTimeOfDayDaysAgo", 1800, false, 1800 + 3 * kDay + 60,
                        true, (kDay - 60) * 1000},
                    Row{"OtherBootInTheVerySecondOfTheTimeOfDay", 1800, false, 1800, true,
                        kDay * 1000},
                    Row{"OtherBootExactlyADayLater", 1800, false, 1800 + kDay, true, kDay * 1000},
                    Row{"OtherBootIsDueWhereTheLengthWasNegative", -5, false, 100, false, 0}),
    [](const auto &suite) { return std::string(suite.param.name); });

TEST(ArmedTimerOfADamagedClock, NeverRunsLongerThanItWasArmedFor) {
    service::ArmedTimer timer = armed("timer", 60);
    timer.endsAt = std::numeric_limits<std::int64_t>::max() / 2;
    EXPECT_EQ(service::remainingMs(timer, false, otherBoot(), false), 60'000);
}

} // namespace
