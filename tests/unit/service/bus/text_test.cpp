// SPDX-License-Identifier: MIT
// Texts that may travel on the bus.
#include "service/bus/text.h"

#include <gtest/gtest.h>
#include <string>

namespace {

using service::busText;
using namespace std::string_literals;

TEST(BusText, ValidTextStaysAsItIs) {
    for (const std::string text :
         {"", "plain", "tab\tline\nend", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
          "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF",
          "Gr\xC3\xBC\xC3\x9F"
          "e"}) {
        EXPECT_EQ(busText(text), text);
    }
}

TEST(BusText, WhatABusWouldCloseTheConnectionForIsSpelled) {
    EXPECT_EQ(busText("a\0b"s), "a\\x00b");
    EXPECT_EQ(busText("\x80"), "\\x80");
    EXPECT_EQ(busText("\xC3"), "\\xc3");
    EXPECT_EQ(busText("\xC3("), "\\xc3(");
    EXPECT_EQ(busText("\xC0\x80"), "\\xc0\\x80");
    EXPECT_EQ(busText("\xC1\xBF"), "\\xc1\\xbf");
    EXPECT_EQ(busText("\xE0\x9F\xBF"), "\\xe0\\x9f\\xbf");
    EXPECT_EQ(busText("\xED\xA0\x80"), "\\xed\\xa0\\x80");
    EXPECT_EQ(busText("\xED\xBF\xBF"), "\\xed\\xbf\\xbf");
    EXPECT_EQ(busText("\xF0\x8F\xBF\xBF"), "\\xf0\\x8f\\xbf\\xbf");
    EXPECT_EQ(busText("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
    EXPECT_EQ(busText("\xF5\x80\x80\x80"), "\\xf5\\x80\\x80\\x80");
    EXPECT_EQ(busText("\xFF\xFE"), "\\xff\\xfe");
    EXPECT_EQ(busText("\xE2\x82"), "\\xe2\\x82");
    EXPECT_EQ(busText("\xE2\x82\xC3\xBC"), "\\xe2\\x82\xC3\xBC");
}

} // namespace
