// SPDX-License-Identifier: MIT
// Seconds until a time of day, and the node's uptime.
#include "agent_test.h"

#include <climits>

using namespace ota::test;

namespace {

struct Row {
    const char *name;
    const char *now;
    std::string text;
    int seconds;
};

void PrintTo(const Row &row, std::ostream *out) { *out << row.now << " -> " << row.text; }

std::string rowName(const testing::TestParamInfo<Row> &info) { return info.param.name; }

class SecondsUntil : public AgentTest, public testing::WithParamInterface<Row> {};

TEST_P(SecondsUntil, TheNextTimeOfDay) {
    agentClock().set(GetParam().now);
    const int seconds = AGENT(getTimeInSeonds)(GetParam().text.c_str());
    EXPECT_EQ(seconds, GetParam().seconds);
    EXPECT_ENTRIES(journal().all(), both("main", "getTimeInSeonds",
                                         "Diff Time is " + std::to_string(seconds) + "\n"));
}

constexpr char kTen[] = "2024-03-05 10:00:00";
constexpr char kMidnight[] = "2024-03-05 00:00:00";

INSTANTIATE_TEST_SUITE_P(
    Texts, SecondsUntil,
    testing::Values(
        Row{"LaterToday", kTen, "10:30", 1800}, Row{"TomorrowWherePassed", kTen, "09:30", 84600},
        Row{"AFullDayForThisSecond", kTen, "10:00:00", 86400},
        Row{"AFullDayForThisMinute", kTen, "10:00", 86400},
        Row{"OneSecondAhead", kTen, "10:00:01", 1}, Row{"OneSecondPast", kTen, "09:59:59", 86399},
        Row{"AnHourAlone", kTen, "11", 3600}, Row{"NextMidnightForAnEmptyText", kTen, "", 50400},
        Row{"AFullDayForAnEmptyTextAtMidnight", kMidnight, "", 86400},
        Row{"TheLastSecondOfTheDay", kMidnight, "23:59:59", 86399},
        Row{"NextMidnightForWords", kTen, "soon", 50400},
        Row{"LeadingDigitsOnly", kTen, "12x:30y", 9000},
        Row{"LeadingBlanksSkipped", kTen, " 12: 30", 9000},
        Row{"HourTwentyFiveIsTomorrowAtOne", kTen, "25:00", 54000},
        Row{"MinuteSeventyFiveCarriesOver", kTen, "10:75", 4500},
        Row{"SecondNinetyCarriesOver", kTen, "10:00:90", 90},
        Row{"ANegativeHourLiesInYesterday", kTen, "-5:00", 32400},
        Row{"AdjacentColonsCountOnce", kTen, "12::30", 9000},
        Row{"ALeadingColonIsSkipped", kTen, ":10:30", 1800},
        Row{"OnlyColonsAreAnEmptyText", kTen, ":::", 50400},
        Row{"AFourthFieldIsIgnored", kTen, "1:2:3:4", 54123},
        Row{"ManyFieldsAreIgnored", kTen, "11:0:0:1:2:3:4:5:6:7:8:9:10:11:12:13", 3600},
        Row{"SixtyThreeCharactersAreKept", kTen, std::string(61, '0') + "12" + "9", 7200},
        Row{"TheSixtyFourthIsCut", kTen, std::string(62, '0') + "12", 54000},
        Row{"AFieldBehindTheCutIsMissing", kTen, std::string(61, '0') + "12" + ":30", 7200},
        Row{"TheYearsLastDay", "2024-12-31 23:00:00", "01:00", 7200},
        Row{"ALeapDay", "2024-02-28 23:59:59", "23:59:58", 86399},
        Row{"TheClockPassesThirtyOneBits", "2038-01-19 03:00:00", "03:30", 1800},
        Row{"ALaterCentury", "2104-03-05 10:00:00", "09:30", 84600},
        Row{"ATimeBeyondAnIntGivesTheNearest", kTen, "999999999", INT_MAX},
        Row{"ATimeBelowAnIntGivesTheNearest", kTen, "-999999999", INT_MIN}),
    rowName);

using TimeOfDay = AgentTest;

TEST_F(TimeOfDay, SurvivesAnyNumberOfDigits) {
    for (const char *text : {"99999999999999999999", "-99999999999999999999:-1:-1",
                             "2147483647:2147483647:2147483647", "-2147483648:-2147483648"}) {
        journal().clear();
        AGENT(getTimeInSeonds)(text);
        EXPECT_EQ(journal().platformLog().size(), 1U) << text;
    }
}

TEST_F(TimeOfDay, IsLocal) {
    agentClock().setZone("XYZ-5:30");
    agentClock().set("2024-03-05 10:00:00");
    EXPECT_EQ(AGENT(getTimeInSeonds)("10:30"), 1800);
    EXPECT_EQ(AGENT(diff_time)(0, 0, 0), 50400);
}

TEST_F(TimeOfDay, CountsWithTodaysDaylightSavingFlagOnTheDayOfTheChange) {
    agentClock().setZone("CET-1CEST,M3.5.0,M10.5.0/3");
    agentClock().set("2024-03-31 01:30:00");
    EXPECT_EQ(AGENT(diff_time)(3, 30, 0), 7200);
}

TEST_F(TimeOfDay, ComesFromThreeNumbersWithoutALogLine) {
    EXPECT_EQ(AGENT(diff_time)(10, 30, 0), 1800);
    EXPECT_EQ(AGENT(diff_time)(10, 0, 0), 86400);
    EXPECT_EQ(AGENT(diff_time)(9, 59, 60), 86400);
    EXPECT_EQ(AGENT(diff_time)(25, 0, 0), 54000);
    EXPECT_ENTRIES(journal().all(), Entries{});
}

using Uptime = AgentTest;

TEST_F(Uptime, IsTheSystems) {
    EXPECT_EQ(AGENT(get_uptime)(), 4711);
    EXPECT_ENTRIES(journal().all(), entries("sysinfo"));
}

TEST_F(Uptime, IsZeroWhereTheSystemDoesNotTell) {
    node().always["sysinfo"] = -1;
    EXPECT_EQ(AGENT(get_uptime)(), 0);
}

TEST_F(Uptime, IsToldForMonths) {
    node().uptime = 2147483647L;
    EXPECT_EQ(AGENT(get_uptime)(), 2147483647);
}

} // namespace
