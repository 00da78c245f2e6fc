// SPDX-License-Identifier: MIT
// Numbers as people read them, texts that cannot harm a terminal, the rate of a download.
#include "cli/printable.h"
#include "cli/readable.h"
#include "cli/transfer_rate.h"

#include <gtest/gtest.h>

namespace {

using cli::isBusText;
using cli::printable;
using cli::readableBytes;
using cli::readableSpan;
using cli::TransferRate;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(Readable, BytesHaveTheUnitThatFits) {
    EXPECT_EQ(readableBytes(0), "0 B");
    EXPECT_EQ(readableBytes(1023), "1023 B");
    EXPECT_EQ(readableBytes(1024), "1.0 KiB");
    EXPECT_EQ(readableBytes(1536 * 1024), "1.5 MiB");
    EXPECT_EQ(readableBytes(std::uint64_t{5} << 40U), "5120.0 GiB");
}

TEST(Readable, ASpanHasItsTwoLargestUnits) {
    EXPECT_EQ(readableSpan(0), "0 s");
    EXPECT_EQ(readableSpan(59), "59 s");
    EXPECT_EQ(readableSpan(60), "1 min");
    EXPECT_EQ(readableSpan(185), "3 min 5 s");
    EXPECT_EQ(readableSpan(3600), "1 h");
    EXPECT_EQ(readableSpan(86399), "23 h 59 min");
    EXPECT_EQ(readableSpan(86400 * 3 + 3600 * 4 + 59), "3 d 4 h");
}

TEST(Printable, OrdinaryTextsStayAsTheyAre) {
    for (const char *text : {"", "a b\\c\"", "caf\u00e9 \u4e2d \U0001f600"}) {
        EXPECT_EQ(printable(text), text);
        EXPECT_TRUE(isBusText(text));
    }
}

TEST(Printable, WhatSteersATerminalIsSpelled) {
    EXPECT_EQ(printable("\n\t\033\x7f"), "\\x0a\\x09\\x1b\\x7f");
    EXPECT_EQ(printable("\u0080\u009b\u2028\u200f\u202e\u2066"),
              "\\xc2\\x80\\xc2\\x9b\\xe2\\x80\\xa8\\xe2\\x80\\x8f\\xe2\\x80\\xae\\xe2\\x81\\xa6");
    EXPECT_EQ(printable(std::string_view("\0x", 2)), "\\x00x");
}

TEST(Printable, BytesThatAreNoUtf8AreSpelledOneByOne) {
    EXPECT_EQ(printable("a\xff"
                        "b"),
              "a\\xffb");
    EXPECT_EQ(printable("\xc3"), "\\xc3");                            // cut
    EXPECT_EQ(printable("\xc0\x9b"), "\\xc0\\x9b");                   // an escape in a longer form
    EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");          // half of a pair
    EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80"); // behind the last code
    for (const char *text : {"\xff", "\xc3", "\xc0\x9b", "\xed\xa0\x80", "\xf4\x90\x80\x80"}) {
        EXPECT_FALSE(isBusText(text));
    }
    EXPECT_FALSE(isBusText(std::string_view("a\0", 2)));
}

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
