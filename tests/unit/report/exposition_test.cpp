// SPDX-License-Identifier: MIT
// The text format of the figures.
#include "report/exposition.h"

#include <gtest/gtest.h>

namespace {

using report::Exposition;

TEST(AnExposition, HasEachFamilyWithItsHelpAndType) {
    Exposition text;
    text.family("boots_total", Exposition::Type::counter, "Boots.");
    text.figure({}, 18446744073709551615U);
    text.family("none", Exposition::Type::gauge, "Without a figure it is left out.");
    text.family("bank", Exposition::Type::gauge, "Banks.");
    text.figure({{"bank", "a"}, {"version", "4QZ"}}, 1);
    text.figure({{"bank", "b"}, {"version", ""}}, 0);
    EXPECT_EQ(text.text(), "# HELP otaswagent_boots_total Boots.\n"
                           "# TYPE otaswagent_boots_total counter\n"
                           "otaswagent_boots_total 18446744073709551615\n"
                           "# HELP otaswagent_bank Banks.\n"
                           "# TYPE otaswagent_bank gauge\n"
                           "otaswagent_bank{bank=\"a\",version=\"4QZ\"} 1\n"
                           "otaswagent_bank{bank=\"b\",version=\"\"} 0\n");
}

TEST(AnExposition, GivesMillisecondsAsSeconds) {
    Exposition text;
    text.family("s", Exposition::Type::gauge, "S.");
    text.seconds({}, 12'045);
    text.seconds({}, 7);
    EXPECT_NE(text.text().find("\notaswagent_s 12.045\notaswagent_s 0.007\n"), std::string::npos);
}

TEST(AnExposition, LetsNoValueOfALabelSayMoreThanItself) {
    Exposition text;
    text.family("info", Exposition::Type::gauge, "Info.");
    text.figure({{"serial", "a\"} 1\nforged 2\\"}}, 1);
    EXPECT_NE(text.text().find(R"({serial="a\"} 1\\x0Aforged 2\\"} 1)"), std::string::npos)
        << text.text();
}

} // namespace
