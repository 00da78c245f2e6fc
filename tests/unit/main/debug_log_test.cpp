// SPDX-License-Identifier: MIT
// The agent's own log file: stamp, cap and what happens where it cannot be written.
#include "agent_test.h"

#include <cerrno>
#include <filesystem>

using namespace ota::test;

namespace {

constexpr char kPath[] = "log/otaSwAgent.log";
constexpr char kStamp[] = " [ 05 Mar 2024 10:00:00 ] ";
constexpr std::size_t kCap = 10240;

class DebugLog : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        allowPlainDebugText(true);
    }
};

TEST_F(DebugLog, IsCreatedByItsFirstEntry) {
    EXPECT_EQ(AGENT(otaDebugLog)("%s has %d\n", "it", 7), 0);
    EXPECT_EQ(contentOf(kPath), std::string(kStamp) + "it has 7\n");
    EXPECT_ENTRIES(journal().all(), entries(trace("", "it has 7\n")));
}

TEST_F(DebugLog, AddsNoLineEndOfItsOwn) {
    AGENT(otaDebugLog)("one");
    agentClock().set("2024-03-05 10:00:01");
    AGENT(otaDebugLog)("two\n");
    EXPECT_EQ(contentOf(kPath), std::string(kStamp) + "one [ 05 Mar 2024 10:00:01 ] two\n");
}

TEST_F(DebugLog, StampsEntriesInTwoDigitsAndLocalTime) {
    agentClock().setZone("XYZ-5:30");
    agentClock().set("2031-12-09 03:04:05");
    AGENT(otaDebugLog)("x");
    EXPECT_EQ(contentOf(kPath), " [ 09 Dec 2031 03:04:05 ] x");
}

TEST_F(DebugLog, StampsEntriesAfter2038) {
    agentClock().set("2041-12-09 03:04:05");
    AGENT(otaDebugLog)("x");
    EXPECT_EQ(contentOf(kPath), " [ 09 Dec 2041 03:04:05 ] x");
}

TEST_F(DebugLog, IsStillAppendedToAtTheCap) {
    const std::string full(kCap, '.');
    writeFile(kPath, full);
    AGENT(otaDebugLog)("next\n");
    EXPECT_EQ(contentOf(kPath), full + kStamp + "next\n");
}

TEST_F(DebugLog, StartsOverAboveTheCap) {
    writeFile(kPath, std::string(kCap + 1, '.'));
    AGENT(otaDebugLog)("next\n");
    EXPECT_EQ(contentOf(kPath), std::string(kStamp) + "next\n");
}

TEST_F(DebugLog, TakesASizeBeyond31BitsForASmallOne) {
    constexpr std::uintmax_t kHuge = 3U * 1024U * 1024U * 1024U; // a hole, no disk is used
    writeFile(kPath, "");
    std::filesystem::resize_file(kPath, kHuge);
    AGENT(otaDebugLog)("next\n");
    EXPECT_EQ(std::filesystem::file_size(kPath), kHuge + std::strlen(kStamp) + 5);
}

TEST_F(DebugLog, MayExceedTheCapByTheEntryThatCrossesIt) {
    const std::string body(2 * kCap, 'b');
    AGENT(otaDebugLog)("%s", body.c_str());
    AGENT(otaDebugLog)("after");
    EXPECT_EQ(contentOf(kPath), std::string(kStamp) + "after");
    AGENT(otaDebugLog)("%s", body.c_str());
    EXPECT_EQ(contentOf(kPath), std::string(kStamp) + "after" + kStamp + body);
}

TEST_F(DebugLog, IsCreatedAnewWhereItWasTakenAwayBetweenEntries) {
    AGENT(otaDebugLog)("one\n");
    std::filesystem::rename(kPath, "log/old");
    AGENT(otaDebugLog)("two\n");
    EXPECT_EQ(contentOf("log/old"), std::string(kStamp) + "one\n");
    EXPECT_EQ(contentOf(kPath), std::string(kStamp) + "two\n");
}

TEST_F(DebugLog, DropsTheEntryWhereItsDirectoryIsMissing) {
    std::filesystem::remove_all("log");
    EXPECT_EQ(AGENT(otaDebugLog)("lost\n"), 0);
    EXPECT_ENTRIES(journal().all(), Entries{});
    EXPECT_FALSE(exists("log"));
}

TEST_F(DebugLog, DropsTheEntryWhereItMayNotBeOpened) {
    writeFile(kPath, "before");
    files().failOpen[kPath] = EACCES;
    EXPECT_EQ(AGENT(otaDebugLog)("lost\n"), 0);
    EXPECT_EQ(contentOf(kPath), "before");
}

TEST_F(DebugLog, DropsTheEntryBeforeItsPathIsKnown) {
    unloadAgent();
    loadAgent();
    EXPECT_EQ(AGENT(otaDebugLog)("lost\n"), 0);
    EXPECT_ENTRIES(journal().all(), Entries{});
    EXPECT_FALSE(exists(kPath));
}

TEST_F(DebugLog, DoesNotKeepTheAgentFromItsWorkWhereItCannotBeWritten) {
    std::filesystem::remove_all("log");
    char text[32] = {};
    node().always["nal_getSwAutoUpgradeInfo"] = -1;
    EXPECT_EQ(AGENT(ota_getOtaPrefActTime)(text), -1);
    EXPECT_ENTRIES(journal().logs(), entries(error("intf/cfgm_intf", "ota_getOtaPrefActTime",
                                                   "nal_getSwAutoUpgradeInfo failed\n")));
}

} // namespace
