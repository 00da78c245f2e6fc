// SPDX-License-Identifier: MIT
// Numbers as people read them.
#include "cli/readable.h"

#include <gtest/gtest.h>

namespace {

using cli::readableBytes;
using cli::readableSpan;

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

} // namespace
