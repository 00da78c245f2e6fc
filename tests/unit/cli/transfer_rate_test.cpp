// SPDX-License-Identifier: MIT
// The rate of a download, and the time that is left.
#include "cli/transfer_rate.h"

#include <gtest/gtest.h>

namespace {

using cli::TransferRate;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Rate, IsTheOneOfTheLastTenSeconds) {
    const TransferRate::Time start{};
    TransferRate rate;
    EXPECT_EQ(rate.bytesPerSecond(), std::nullopt);
    rate.count(0, start);
    rate.count(500, start + milliseconds(199));
    EXPECT_EQ(rate.bytesPerSecond(), std::nullopt);
    rate.count(1000, start + seconds(1));
    EXPECT_EQ(rate.bytesPerSecond(), 1000U);
    rate.count(1100, start + seconds(11));
    EXPECT_EQ(rate.bytesPerSecond(), 10U);
}

TEST(Rate, StartsOverWithAnotherDownload) {
    const TransferRate::Time start{};
    TransferRate rate;
    rate.count(1000, start);
    rate.count(2000, start + seconds(1));
    rate.count(10, start + seconds(2));
    EXPECT_EQ(rate.bytesPerSecond(), std::nullopt);
    rate.count(20, start + seconds(3));
    EXPECT_EQ(rate.bytesPerSecond(), 10U);
}

TEST(Rate, TheTimeLeftNeedsARateAndAPercentage) {
    const TransferRate::Time start{};
    TransferRate rate;
    EXPECT_EQ(rate.secondsLeft(50), std::nullopt);
    rate.count(0, start);
    rate.count(1000, start + seconds(1));
    EXPECT_EQ(rate.secondsLeft(0), std::nullopt);
    EXPECT_EQ(rate.secondsLeft(25), 3U);
    EXPECT_EQ(rate.secondsLeft(100), 0U);
    EXPECT_EQ(rate.secondsLeft(101), std::nullopt);
    TransferRate stalled;
    stalled.count(1000, start);
    stalled.count(1000, start + seconds(5));
    EXPECT_EQ(stalled.secondsLeft(50), std::nullopt);
}

} // namespace
