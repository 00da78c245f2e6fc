// SPDX-License-Identifier: MIT
// A loop that hangs ends its process, one that turns does not.
#include "service/loop_watch.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

namespace service {
namespace {

using std::chrono::milliseconds;

void turnWatched(milliseconds time, milliseconds patience) {
    const EventLoop loop = newLoop();
    const LoopWatch watch(loop.get(), patience);
    Alarm over(loop.get(), [&loop] { sd_event_exit(loop.get(), 0); });
    over.setInMs(time.count());
    sd_event_loop(loop.get());
    std::exit(7);
}

void stallFor(milliseconds time, milliseconds patience) {
    const EventLoop loop = newLoop();
    const LoopWatch watch(loop.get(), patience);
    std::this_thread::sleep_for(time);
    std::exit(7);
}

TEST(LoopWatchDeathTest, ends_a_process_whose_loop_hangs) {
    EXPECT_EXIT(stallFor(milliseconds(60'000), milliseconds(300)), testing::ExitedWithCode(1),
                "^error: otad: its loop hangs: it ends itself, to be started anew\n$");
}

TEST(LoopWatchDeathTest, leaves_one_alone_whose_loop_turns) {
    EXPECT_EXIT(turnWatched(milliseconds(3000), milliseconds(2500)), testing::ExitedWithCode(7),
                "");
}

TEST(LoopWatchDeathTest, watches_nothing_without_a_patience) {
    EXPECT_EXIT(stallFor(milliseconds(500), milliseconds(0)), testing::ExitedWithCode(7), "");
}

} // namespace
} // namespace service
