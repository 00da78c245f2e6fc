// SPDX-License-Identifier: MIT
// Named one-shot timers in real and in virtual time.
#include "desk/named_timers.h"

#include <gtest/gtest.h>

namespace {

using desk::NamedTimers;

TEST(NamedTimers, InVirtualTimeTheEarliestRunsOutFirst) {
    NamedTimers timers(true);
    timers.start("late", 1800);
    timers.start("early", 120);
    EXPECT_EQ(timers.takeDue(), "early");
    timers.start("between", 120);
    EXPECT_EQ(timers.takeDue(), "between");
    EXPECT_EQ(timers.takeDue(), "late");
    EXPECT_EQ(timers.takeDue(), std::nullopt);
    EXPECT_TRUE(timers.empty());
}

TEST(NamedTimers, InRealTimeATimerIsNotDueBeforeItsEnd) {
    NamedTimers timers(false);
    timers.start("later", 1000);
    EXPECT_EQ(timers.takeDue(), std::nullopt);
    EXPECT_FALSE(timers.empty());
}

TEST(NamedTimers, ANegativeLengthRunsOutAtOnce) {
    NamedTimers timers(false);
    timers.start("past", -5);
    EXPECT_EQ(timers.takeDue(), "past");
}

TEST(NamedTimers, AStoppedTimerNeverRunsOut) {
    NamedTimers timers(true);
    timers.start("one", 1);
    timers.stop("one");
    timers.stop("unknown");
    EXPECT_EQ(timers.takeDue(), std::nullopt);
}

TEST(NamedTimers, ATimerThatIsStartedAgainStartsOver) {
    NamedTimers timers(true);
    timers.start("again", 10);
    timers.start("other", 20);
    timers.start("again", 30);
    EXPECT_EQ(timers.takeDue(), "other");
    EXPECT_EQ(timers.takeDue(), "again");
    EXPECT_EQ(timers.takeDue(), std::nullopt);
}

} // namespace
