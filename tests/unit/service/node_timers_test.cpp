// SPDX-License-Identifier: MIT
// Named timers on the real clock, a few milliseconds long.
#include "service/node_timers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>

namespace service {
namespace {

using testing::ElementsAre;

constexpr std::int64_t kSoonMs = 20;
constexpr std::uint64_t kTurnUs = 200'000;

class Timers : public testing::Test {
  protected:
    // Turns of the loop until nothing happens for a while.
    void runUntilQuiet() {
        while (sd_event_run(loop_.get(), kTurnUs) > 0) {
        }
    }

    static ArmedTimer endingIn(const char *name, std::int64_t milliseconds) {
        return {name, 1, bootNowMs() + milliseconds, std::time(nullptr), std::time(nullptr) + 1};
    }

    EventLoop loop_ = newLoop();
    std::vector<std::string> ranOut_;
    NodeTimers timers_{loop_.get(), [this](const std::string &name) { ranOut_.push_back(name); }};
};

TEST_F(Timers, run_out_in_the_order_of_their_ends) {
    timers_.restore({endingIn("later", 2 * kSoonMs), endingIn("sooner", kSoonMs)});
    runUntilQuiet();
    EXPECT_THAT(ranOut_, ElementsAre("sooner", "later"));
    EXPECT_TRUE(timers_.armed().empty());
}

TEST_F(Timers, of_no_or_negative_length_run_out_at_once) {
    timers_.start("zero", 0);
    timers_.start("negative", -5);
    runUntilQuiet();
    EXPECT_THAT(ranOut_, ElementsAre("zero", "negative"));
}

TEST_F(Timers, that_were_stopped_do_not_run_out) {
    timers_.start("stopped", 0);
    timers_.start("kept", 0);
    EXPECT_TRUE(timers_.stop("stopped"));
    EXPECT_FALSE(timers_.stop("stopped"));
    runUntilQuiet();
    EXPECT_THAT(ranOut_, ElementsAre("kept"));
}

TEST_F(Timers, started_again_start_over_under_the_same_name) {
    timers_.start("one", 0);
    timers_.start("one", 1800);
    ASSERT_EQ(timers_.armed().size(), 1U);
    EXPECT_EQ(timers_.armed()[0].seconds, 1800);
    EXPECT_GT(secondsLeft(timers_.armed()[0]), 1790U);
    EXPECT_EQ(timers_.armed()[0].endsAt - timers_.armed()[0].armedAt, 1800);
    runUntilQuiet();
    EXPECT_TRUE(ranOut_.empty());
}

TEST_F(Timers, restored_take_the_place_of_all_others) {
    timers_.start("before", 0);
    timers_.restore({endingIn("restored", kSoonMs)});
    runUntilQuiet();
    EXPECT_THAT(ranOut_, ElementsAre("restored"));
}

TEST_F(Timers, show_whole_seconds_rounded_up) {
    EXPECT_EQ(secondsLeft(endingIn("", -1)), 0U);
    EXPECT_EQ(secondsLeft(endingIn("", 500)), 1U);
}

} // namespace
} // namespace service
