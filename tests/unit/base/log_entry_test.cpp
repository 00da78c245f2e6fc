// SPDX-License-Identifier: MIT
// What an entry says about itself is taken off it, and its text cannot look like further entries.
#include "base/log_entry.h"

#include <gtest/gtest.h>

namespace base {
namespace {

TEST(LogEntry, SaysWhereItComesFrom) {
    std::string_view text = "ota: [main start:12] began: [x y:3] on";
    LogOrigin origin;
    ASSERT_TRUE(takeLogPrefix(text, origin));
    EXPECT_EQ(text, "began: [x y:3] on");
    EXPECT_EQ(origin.unit + " " + origin.function + " " + origin.line, "main start 12");
}

TEST(LogEntry, StaysAsItIsWithoutAPrefix) {
    for (const std::string_view text :
         {"", "ota: [", "ota: [main start:12]", "ota: [main start:x] t", "ota: [main:12] t",
          "ota: [ start:12] t", "ota: [main st:art:12] t", "nal: [main start:12] t"}) {
        std::string_view rest = text;
        LogOrigin origin;
        EXPECT_FALSE(takeLogPrefix(rest, origin)) << text;
        EXPECT_EQ(rest, text);
    }
}

TEST(LogEntry, LosesOneLineEndAndItsControlCharacters) {
    std::string_view text = "a\n\r\n";
    EXPECT_EQ(takeLineEnd(text), "\r\n");
    EXPECT_EQ(text, "a\n");
    EXPECT_EQ(spellControls("a\n\x7F\xC3\xA9\033"), "a\\x0A\\x7F\xC3\xA9\\x1B");
}

} // namespace
} // namespace base
