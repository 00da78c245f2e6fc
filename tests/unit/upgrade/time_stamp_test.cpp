// SPDX-License-Identifier: MIT
// The time stamp: its form, its zone, its two log lines.
#include "agent_test.h"

using namespace ota::test;

namespace {

class TimeStamp : public AgentTest {
  protected:
    static std::string now() {
        char text[64];
        AGENT(getCurrentTime)(text);
        return text;
    }
};

TEST_F(TimeStamp, FillsEveryFieldWithZeros) {
    agentClock().set("2024-03-05 04:06:07");
    EXPECT_EQ(now(), "2024-03-05T04:06:07");
}

TEST_F(TimeStamp, CountsHoursTo23) {
    agentClock().set("2024-12-31 23:59:59");
    EXPECT_EQ(now(), "2024-12-31T23:59:59");
}

TEST_F(TimeStamp, IsLocalTimeWithoutAZone) {
    agentClock().set("2024-03-05 23:30:00");
    agentClock().setZone("XYZ-2");
    EXPECT_EQ(now(), "2024-03-06T01:30:00");
}

TEST_F(TimeStamp, NeedsTwentyBytesAndNoMore) {
    char text[21];
    text[20] = '#';
    AGENT(getCurrentTime)(text);
    EXPECT_STREQ(text, "2024-03-05T10:00:00");
    EXPECT_EQ(text[20], '#');
}

TEST_F(TimeStamp, IsToldToTheDebugLogFirstAndWithItsPrefixInTheOther) {
    now();
    EXPECT_ENTRIES(
        journal().all(),
        entries(trace("getCurrentTime", "Current System Time = 2024-03-05T10:00:00"),
                notice("upgrade", "getCurrentTime",
                       "getCurrentTime():LINE: Current System Time = 2024-03-05T10:00:00")));
}

} // namespace
