// SPDX-License-Identifier: MIT
// Lines of standard error as entries of syslog: priority, length, and nothing that looks like
// another.
#include "service/syslog_lines.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <syslog.h>
#include <utility>
#include <vector>

namespace service {
namespace {

using testing::ElementsAre;
using testing::Pair;
using testing::SizeIs;
using testing::StartsWith;

class SyslogLinesTest : public testing::Test {
  protected:
    std::vector<std::pair<int, std::string>> sent_;
    SyslogLines lines_{
        [this](int priority, const std::string &text) { sent_.emplace_back(priority, text); }};
};

TEST_F(SyslogLinesTest, have_the_priority_of_their_first_word) {
    lines_.take("error: otad: a\nwarning: b\nnotice: c\nd\nerrors: e\n");
    EXPECT_THAT(sent_, ElementsAre(Pair(LOG_ERR, "error: otad: a"), Pair(LOG_WARNING, "warning: b"),
                                   Pair(LOG_NOTICE, "notice: c"), Pair(LOG_INFO, "d"),
                                   Pair(LOG_INFO, "errors: e")));
}

TEST_F(SyslogLinesTest, come_in_pieces_and_are_told_whole) {
    lines_.take("err");
    lines_.take("or: a");
    EXPECT_THAT(sent_, SizeIs(0));
    lines_.take("b\n\nc");
    EXPECT_THAT(sent_, ElementsAre(Pair(LOG_ERR, "error: ab")));
    lines_.end();
    lines_.end();
    EXPECT_THAT(sent_, ElementsAre(Pair(LOG_ERR, "error: ab"), Pair(LOG_INFO, "c")));
}

TEST_F(SyslogLinesTest, spell_control_characters) {
    lines_.take("a\x1b[2J\rb\n");
    EXPECT_THAT(sent_, ElementsAre(Pair(LOG_INFO, "a\\x1B[2J\\x0Db")));
}

TEST_F(SyslogLinesTest, that_are_too_long_lose_nothing_and_forge_nothing) {
    std::string line = "warning: ";
    while (line.size() < 5000) {
        line += "error: otad: forged ";
    }
    lines_.take(line + "\nnotice: next\n");
    ASSERT_GE(sent_.size(), 6U);
    std::string whole = sent_[0].second;
    for (std::size_t i = 1; i + 1 < sent_.size(); ++i) {
        EXPECT_EQ(sent_[i].first, LOG_WARNING);
        EXPECT_THAT(sent_[i].second, StartsWith("... "));
        EXPECT_LE(sent_[i].second.size(), 900U);
        whole += sent_[i].second.substr(4);
    }
    EXPECT_EQ(whole, line);
    EXPECT_THAT(sent_.back(), Pair(LOG_NOTICE, "notice: next"));
}

} // namespace
} // namespace service
