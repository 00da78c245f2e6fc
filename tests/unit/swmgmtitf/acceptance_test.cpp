// SPDX-License-Identifier: MIT
// Is the offered image to be downloaded?
#include "agent_test.h"
#include "orchestration_lines.h"

using namespace ota::test;

namespace {

using Acceptance = AgentTest;

constexpr int kDownload = 1;
constexpr int kNoDownload = 0;

constexpr char kDifferent[] = "Current and Previous Version is different than Target Software "
                              "version, go for Download and Upgrade";
constexpr char kSame[] = "Current and Target Software version is same, so no upgrade needed";

int decide() { return AGENT(isReceivedValidImage)(); }

TEST_F(Acceptance, DownloadsAVersionThatNeitherBankHolds) {
    hold({.version = "4QZ-2.0"});

    EXPECT_EQ(decide(), kDownload);

    EXPECT_ENTRIES(
        journal().all(),
        entries(macRead(),
                both("swmgmtitf", "isReceivedValidImage",
                     "Device MAC and payload MAC matching, allow upgrade"),
                "nal_getCurSwVersion", "nal_getPrevSwVersion",
                both("swmgmtitf", "isReceivedValidImage",
                     "CurrentSwVer = 1.0, PrevSwVer = 0.9, NextSwVer = 4QZ-2.0"),
                both("swmgmtitf", "isReceivedValidImage",
                     "Current and Previous Version is different than Target Software version, go "
                     "for Download and Upgrade")));
}

TEST_F(Acceptance, ReportsThatTheRunningVersionNeedsNoUpgrade) {
    hold({.version = "1.0"});

    EXPECT_EQ(decide(), kNoDownload);

    EXPECT_ENTRIES(journal().all(), entries(versionsRead("1.0"), acceptance(kSame),
                                            gatewayReport("NO_OTA_SW_UPGRADE")));
}

TEST_F(Acceptance, RefusesAnotherDeviceWithoutAReport) {
    hold({.mac = "00:1A:2B:3C:4D:5F"});

    EXPECT_EQ(decide(), kNoDownload);

    EXPECT_ENTRIES(
        journal().all(),
        entries(macRead(),
                bothErrors("swmgmtitf", "isReceivedValidImage",
                           "Device MAC and payload MAC not matching:wrong device, not allow "
                           "upgrade")));
    EXPECT_TRUE(node().signals.empty());
}

TEST_F(Acceptance, ComparesMacsWithoutLookingAtLetterCase) {
    node().mac = {0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff};
    hold({.mac = "aa:Bb:cC:dd:EE:ff"});
    EXPECT_EQ(decide(), kDownload);
}

TEST_F(Acceptance, TakesAnUnreadableMacForAnEmptyOne) {
    node().always["ioctl"] = -1;
    hold({.mac = kNodeMac});
    EXPECT_EQ(decide(), kNoDownload);
    hold({.mac = ""});
    EXPECT_EQ(decide(), kDownload);
}

TEST_F(Acceptance, RefusesAPayloadMacThatOnlyBeginsLikeTheDevices) {
    hold({.mac = "00:1A:2B:3C:4D:5"});
    EXPECT_EQ(decide(), kNoDownload);
}

TEST_F(Acceptance, DownloadsWithoutComparingWhereThereIsNoPreviousImage) {
    node().results["nal_getPrevSwVersion"] = {-10};
    hold({.version = "1.0"}); // the running one

    EXPECT_EQ(decide(), kDownload);

    EXPECT_ENTRIES(
        journal().all(),
        entries(macRead(), acceptance("Device MAC and payload MAC matching, allow upgrade"),
                "nal_getCurSwVersion", "nal_getPrevSwVersion",
                both("swmgmtitf", "isReceivedValidImage", "nal_getPrevSwVersion NS we return true",
                     "nal_getPrevSwVersion is NS we return true")));
}

TEST_F(Acceptance, LogsAFailedCurrentVersionAndComparesAnEmptyOne) {
    node().results["nal_getCurSwVersion"] = {-1};
    hold({.version = "1.0"});

    EXPECT_EQ(decide(), kDownload);

    EXPECT_ENTRIES(
        journal().all(),
        entries(macRead(), acceptance("Device MAC and payload MAC matching, allow upgrade"),
                "nal_getCurSwVersion",
                bothErrors("swmgmtitf", "isReceivedValidImage", "nal_get_current_version failed"),
                "nal_getPrevSwVersion",
                acceptance("CurrentSwVer = , PrevSwVer = 0.9, NextSwVer = 1.0"),
                acceptance(kDifferent)));
}

TEST_F(Acceptance, DoesNotMentionAPreviousVersionThatFailsOtherwise) {
    for (const int result : {-1, -9, -11, 10}) {
        node().results["nal_getPrevSwVersion"] = {result};
        hold({.version = "0.9"}); // the previous one, had it been told

        EXPECT_EQ(decide(), kDownload) << result;

        EXPECT_ENTRIES(journal().logs(),
                       entries(acceptance("Device MAC and payload MAC matching, allow upgrade"),
                               acceptance("CurrentSwVer = 1.0, PrevSwVer = , NextSwVer = 0.9"),
                               acceptance(kDifferent)));
    }
}

TEST_F(Acceptance, ComparesWhatFailedQueriesLeftBehind) {
    node().failingQueriesFill = true;
    node().results["nal_getCurSwVersion"] = {-1};
    node().results["nal_getPrevSwVersion"] = {-1};
    hold({.version = "1.0"});

    EXPECT_EQ(decide(), kNoDownload);

    EXPECT_ENTRIES(journal().actions(), entries(signal("NO_OTA_SW_UPGRADE")));
}

TEST_F(Acceptance, DownloadsWhereBothVersionsAreUnknown) {
    node().results["nal_getCurSwVersion"] = {-1};
    node().results["nal_getPrevSwVersion"] = {-1};
    hold({.version = "4QZ-2.0"});
    EXPECT_EQ(decide(), kDownload);
}

TEST_F(Acceptance, FindsAnEmptyTargetEqualToAnUnknownRunningVersion) {
    node().results["nal_getCurSwVersion"] = {-1};
    hold({.version = ""});
    EXPECT_EQ(decide(), kNoDownload);
    EXPECT_ENTRIES(journal().actions(), entries(signal("NO_OTA_SW_UPGRADE")));
}

TEST_F(Acceptance, ComparesVersionsToTheLastCharacterAndLetterCase) {
    node().currentVersion = "v1.0";
    for (const char *target : {"v1.0 ", "V1.0", "v1.", "v1.00"}) {
        hold({.version = target});
        EXPECT_EQ(decide(), kDownload) << target;
        EXPECT_ENTRIES(journal().actions(), Entries{});
    }
}

TEST_F(Acceptance, EndsVersionsOfSixtyFourCharactersAtTheirLastByte) {
    node().currentVersion = std::string(64, 'c');
    node().previousVersion = std::string(64, 'p');
    hold({.version = std::string(63, 'c')});

    EXPECT_EQ(decide(), kNoDownload);

    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf isReceivedValidImage: CurrentSwVer"}),
        entries(notice(kUnit, kAcceptance,
                       "CurrentSwVer = " + std::string(63, 'c') + ", PrevSwVer = " +
                           std::string(63, 'p') + ", NextSwVer = " + std::string(63, 'c'))));
}

TEST_F(Acceptance, PrefersTheRunningVersionWhereBothBanksHoldTheTarget) {
    node().previousVersion = "1.0";
    hold({.version = "1.0"});
    EXPECT_EQ(decide(), kNoDownload);
    EXPECT_ENTRIES(journal().actions(), entries(signal("NO_OTA_SW_UPGRADE")));
}

TEST_F(Acceptance, IgnoresARunningWindowUnlessTheImageIsInThePassiveBank) {
    AGENT_VAR(g_dwldStartTimer) = 1;
    hold({.version = "4QZ-2.0"});
    EXPECT_EQ(decide(), kDownload);
    hold({.version = "1.0"});
    EXPECT_EQ(decide(), kNoDownload);
    EXPECT_ENTRIES(journal().actions(), entries(signal("NO_OTA_SW_UPGRADE")));
}

TEST_F(Acceptance, ForgetsTheVersionsAndTheMacOfTheLastDecision) {
    hold({.version = "4QZ-2.0"});
    EXPECT_EQ(decide(), kDownload);
    node().results["nal_getCurSwVersion"] = {-1};
    node().results["nal_getPrevSwVersion"] = {-1};
    journal().clear();
    EXPECT_EQ(decide(), kDownload);
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf isReceivedValidImage: CurrentSwVer"}),
        entries(notice(kUnit, kAcceptance, "CurrentSwVer = , PrevSwVer = , NextSwVer = 4QZ-2.0")));

    node().always["socket"] = -1;
    EXPECT_EQ(decide(), kNoDownload);
}

} // namespace
