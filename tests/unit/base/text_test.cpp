// SPDX-License-Identifier: MIT
// Texts that cannot harm a terminal, and words that are near.
#include "base/text.h"

#include <gtest/gtest.h>

namespace base {
namespace {

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

TEST(Nearest, IsNearAndNotJustTheLeastFar) {
    const std::vector<std::string> known{"status", "set", "sign"};
    EXPECT_EQ(nearest("sttus", known), "status");
    EXPECT_EQ(nearest("sgin", known), "sign");
    EXPECT_EQ(nearest("x", known), "");
    EXPECT_EQ(nearest("", known), "");
    EXPECT_EQ(nearest("completely", known), "");
    EXPECT_EQ(nearest(std::string(100'000, 's'), known), "");
}

TEST(Quoted, IsOneShortLine) {
    EXPECT_EQ(plain("a\"b\\\033\n\xff"), "a\"b\\\\x1B\\x0A\\xFF");
    EXPECT_EQ(base::quoted("a\"b\\\n"), "\"a\\x22b\\x5C\\x0A\"");
    EXPECT_EQ(base::quoted(std::string(61, 'x')), "\"" + std::string(60, 'x') + "\"...");
}

} // namespace
} // namespace base
