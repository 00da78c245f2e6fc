// SPDX-License-Identifier: MIT
// One report: the status word, the refreshed identity, and the record that goes out.
#include "agent_test.h"
#include "report_entries.h"

#include <cstring>

using namespace ota::test;

namespace {

constexpr char kUnit[] = "swmgmtitf";
constexpr char kReport[] = "sendUpgradeSignalToSwMgnt";
constexpr char kActivated[] = "OTA_SW_ACTIVATION_COMPLETE";

int report(const std::string &word) { return AGENT(sendUpgradeSignalToSwMgnt)(word.c_str()); }

UpgradeStatus &status() { return AGENT_VAR(swUpgStat); }

Entries wordEntries(const std::string &given, const std::string &stored) {
    return entries(both(kUnit, kReport, "upgradeSignal = " + given),
                   both(kUnit, kReport, "swUpgStat.status = " + stored));
}

// The word that rewrites the versions has a test of its own.
const char *const kPlainWords[] = {
    "NO_OTA_SW_UPGRADE",        "OTA_SW_SWAP_PASSIVE",    "OTA_SW_ACTIVATION_REBOOT_COMPLETE",
    "OTA_RECONNECT_BUE",        "OTA_CRC_CHECK_FAILED",   "OTA_SW_FLASH_WRITE_FAILED",
    "OTA_SW_ACTIVATION_FAILED", "OTA_SW_COMMIT_COMPLETE", "OTA_SW_COMMIT_FAILED"};

class StatusWords : public AgentTest, public testing::WithParamInterface<const char *> {};

INSTANTIATE_TEST_SUITE_P(Words, StatusWords, testing::ValuesIn(kPlainWords),
                         [](const auto &word) { return std::string(word.param); });

TEST_P(StatusWords, AreStoredThenTheIdentityIsRefreshedThenTheRecordIsPublished) {
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    ReportedStatus reported;
    reported.word = GetParam();

    EXPECT_EQ(report(GetParam()), 0);

    EXPECT_ENTRIES(journal().all(),
                   entries(wordEntries(GetParam(), GetParam()), identityEntries(reported),
                           publishedEntries(reported), contextQueryEntries(), publishedTrace()));
    ASSERT_EQ(node().signals.size(), 1U);
    EXPECT_EQ(node().signals[0].data, reported.formatted());
    EXPECT_STREQ(status().status, GetParam());
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_P(StatusWords, ReportTheVersionsThatThePlatformGives) {
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    report(GetParam());
    EXPECT_STREQ(status().curswversion, "1.0");
    EXPECT_STREQ(status().prevswversion, "0.9");
}

class StatusReport : public AgentTest {};

TEST_F(StatusReport, ActivationCompleteRewritesBothVersionsAfterTheIdentityWasRefreshed) {
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    setText(status().curswversion, "stale");
    setText(status().prevswversion, "older still");
    const ReportedStatus found;
    ReportedStatus reported;
    reported.current = "2.0";
    reported.previous = "1.0";
    reported.word = kActivated;

    EXPECT_EQ(report(kActivated), 0);

    EXPECT_ENTRIES(
        journal().all(),
        entries(wordEntries(kActivated, kActivated), identityEntries(found),
                both(kUnit, kReport, "swUpgStat.curswversion = 2.0, swUpgStat.prevswversion = 1.0"),
                publishedEntries(reported), contextQueryEntries(), publishedTrace()));
    EXPECT_EQ(node().signals.at(0).data, reported.formatted());
    EXPECT_STREQ(status().curswversion, "2.0");
    EXPECT_STREQ(status().prevswversion, "1.0");
}

TEST_F(StatusReport, TheRewrittenVersionsHoldUntilTheNextReportOnly) {
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    report(kActivated);
    report("OTA_SW_COMMIT_FAILED");
    EXPECT_STREQ(status().curswversion, "1.0");
    EXPECT_STREQ(status().prevswversion, "0.9");
}

TEST_F(StatusReport, VersionsOfSixtyThreeCharactersAreRewrittenWhole) {
    setText(AGENT_VAR(swInfo).nxtMSVersion, std::string(63, 'n'));
    node().currentVersion = std::string(63, 'c');
    report(kActivated);
    EXPECT_EQ(status().curswversion, std::string(63, 'n'));
    EXPECT_EQ(status().prevswversion, std::string(63, 'c'));
}

TEST_F(StatusReport, AShorterNewVersionLeavesNothingOfTheLongerOneBehind) {
    node().currentVersion = "1.0-with-a-long-suffix";
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2");
    report(kActivated);
    EXPECT_EQ(std::string(status().curswversion, 64), std::string("2").append(63, '\0'));
}

TEST_F(StatusReport, ActivationCompleteRewritesTheOldVersionsWhereTheIdentityCannotBeHad) {
    node().always["nal_getNodeInfo"] = 1;
    setText(status().curswversion, "1.5");
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    EXPECT_EQ(report(kActivated), 0);
    EXPECT_STREQ(status().curswversion, "2.0");
    EXPECT_STREQ(status().prevswversion, "1.5");
    EXPECT_EQ(node().signals.size(), 1U);
}

TEST_F(StatusReport, WordsThatOnlyBeginLikeActivationCompleteRewriteNothing) {
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    for (const char *word : {"OTA_SW_ACTIVATION_COMPLET", "OTA_SW_ACTIVATION_COMPLETE2",
                             "ota_sw_activation_complete", "OTASwActivationSuccess", ""}) {
        report(word);
        EXPECT_STREQ(status().curswversion, "1.0") << word;
        EXPECT_STREQ(status().prevswversion, "0.9") << word;
    }
}

TEST_F(StatusReport, AWordOfFortyNineCharactersIsKeptWhole) {
    const std::string word(49, 'W');
    report(word);
    EXPECT_EQ(status().status, word);
}

TEST_F(StatusReport, ALongerWordIsCutToFortyNineCharactersAndTerminated) {
    std::memset(&status().status, 'z', sizeof status().status);
    const std::string word = std::string(49, 'W') + "MORE";
    report(word);
    const std::string cut(49, 'W');
    EXPECT_EQ(status().status, cut);
    EXPECT_ENTRIES(journal().logsOf({kReport}), wordEntries(word, cut));
    ReportedStatus reported;
    reported.word = cut;
    EXPECT_EQ(node().signals.at(0).data, reported.formatted());
}

TEST_F(StatusReport, AShorterWordLeavesNothingOfTheLastOneBehind) {
    report("OTA_SW_COMMIT_COMPLETE");
    report("X");
    EXPECT_EQ(std::string(status().status, 50), std::string("X").append(49, '\0'));
}

TEST_F(StatusReport, GoesOutWithTheLastIdentityWhereThePlatformGivesNone) {
    report("OTA_SW_COMMIT_COMPLETE");
    node().always["nal_getNodeInfo"] = -1;
    node().currentVersion = "9.9";
    EXPECT_EQ(report("OTA_SW_COMMIT_FAILED"), 0);
    ReportedStatus reported;
    reported.word = "OTA_SW_COMMIT_FAILED";
    EXPECT_EQ(node().signals.at(1).data, reported.formatted());
}

TEST_F(StatusReport, SaysNothingOfAPreviousImageThatIsNotThere) {
    node().always["nal_getPrevSwVersion"] = -10;
    ReportedStatus reported;
    reported.previous = "";
    reported.word = "NO_OTA_SW_UPGRADE";
    report(reported.word);
    EXPECT_EQ(node().signals.at(0).data, reported.formatted());
}

TEST_F(StatusReport, AnswersMinusOneWhereTheRecordCannotBeEncoded) {
    failAllocation(Owner::kJson, 1);
    EXPECT_EQ(report("NO_OTA_SW_UPGRADE"), -1);
    EXPECT_TRUE(node().signals.empty());
    ReportedStatus found;
    EXPECT_ENTRIES(journal().all(), entries(wordEntries("NO_OTA_SW_UPGRADE", "NO_OTA_SW_UPGRADE"),
                                            identityEntries(found)));
    EXPECT_STREQ(status().status, "NO_OTA_SW_UPGRADE");
}

TEST_F(StatusReport, IsNotConcernedWithTheResultOfTheBus) {
    node().always["evbusSendSignal"] = -1;
    EXPECT_EQ(report("NO_OTA_SW_UPGRADE"), 0);
}

TEST_F(StatusReport, KeepsTheWordUntilTheNextReport) {
    report("OTA_CRC_CHECK_FAILED");
    AGENT(initUpgradeStatusInfo)();
    EXPECT_STREQ(status().status, "OTA_CRC_CHECK_FAILED");
}

TEST_F(StatusReport, TheHeaderSpellsEveryWord) {
    EXPECT_STREQ(OTA_STATUS_NO_UPGRADE, "NO_OTA_SW_UPGRADE");
    EXPECT_STREQ(OTA_STATUS_SWAP_PASSIVE, "OTA_SW_SWAP_PASSIVE");
    EXPECT_STREQ(OTA_STATUS_ACTIVATION_REBOOT_COMPLETE, "OTA_SW_ACTIVATION_REBOOT_COMPLETE");
    EXPECT_STREQ(OTA_STATUS_RECONNECT, "OTA_RECONNECT_BUE");
    EXPECT_STREQ(OTA_STATUS_CRC_CHECK_FAILED, "OTA_CRC_CHECK_FAILED");
    EXPECT_STREQ(OTA_STATUS_FLASH_WRITE_FAILED, "OTA_SW_FLASH_WRITE_FAILED");
    EXPECT_STREQ(OTA_STATUS_ACTIVATION_COMPLETE, "OTA_SW_ACTIVATION_COMPLETE");
    EXPECT_STREQ(OTA_STATUS_ACTIVATION_FAILED, "OTA_SW_ACTIVATION_FAILED");
    EXPECT_STREQ(OTA_STATUS_COMMIT_COMPLETE, "OTA_SW_COMMIT_COMPLETE");
    EXPECT_STREQ(OTA_STATUS_COMMIT_FAILED, "OTA_SW_COMMIT_FAILED");
}

} // namespace
