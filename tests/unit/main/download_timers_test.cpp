// SPDX-License-Identifier: MIT
// What happens when "downloadStartTimer" or "downloadRetryTimer" runs out.
#include "agent_test.h"
#include "moments.h"

using namespace ota::test;

namespace {

constexpr char kStart[] = "otaSwAgentProcessDownloadStartTimer";
constexpr char kRetry[] = "otaSwAgentProcessDownloadRetryTimer";
// An image handed to the gateway: the shortest road through downloadAndUpgrade.
constexpr char kHandedOver[] = "nal_setSwmgntFileServerInfo";

// Cuts the text off the hand-over, which is not looked at here.
Entries shortened(Entries all) {
    for (std::string &entry : all) {
        if (entry.starts_with(kHandedOver)) {
            entry = kHandedOver;
        }
    }
    return all;
}

// An image that can be fetched and then fails its checksum.
void offerImage() {
    setText(AGENT_VAR(swInfo).fileServerURL, "http://files/4QZ");
    setText(AGENT_VAR(swInfo).nxtMSVersion, "4QZ.2.0");
    setText(AGENT_VAR(swInfo).checksum, "0");
}

class DownloadStartTimer : public StartedAgentTest {
  protected:
    void SetUp() override {
        StartedAgentTest::SetUp();
        AGENT_VAR(otaLibConfig).OffloadDownloadActivate = 1;
        AGENT_VAR(g_dwldStartTimer) = 1;
    }

    static void expire() { AGENT(otaSwAgentProcessDownloadStartTimer)(); }

    static Entries own() { return shortened(journal().of({kStart})); }

    static Entries beginning() {
        return entries(
            trace(kStart, "Entering otaSwAgentProcessDownloadStartTimer\n"),
            both("main", kStart, "No MobileApp trigger received for Download and Upgrade\n"),
            "system rm -f ./ota_agent_data");
    }

    static std::string exiting() {
        return trace(kStart, "Exiting otaSwAgentProcessDownloadStartTimer\n");
    }

    static Entries download() {
        return entries(both("main", kStart,
                            " current onboardStatus is false so we can go ahead and "
                            "downloadAndUpgrade\n"),
                       kHandedOver);
    }

    static Entries deferral() {
        return entries(both("main", kStart,
                            " onboardStatus is TRUE we defer downloadAndUpgrade till next reboot "
                            "or polling cyclye or trigger"),
                       both("main", kStart, " Marked g_ISDeferedUpgrade as true"));
    }

    static void expectFlags(int deferred) {
        EXPECT_EQ(AGENT_VAR(g_ISDeferedUpgrade), deferred);
        EXPECT_EQ(AGENT_VAR(g_mobileTriggerExpire), 1);
        EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
        EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);
    }

    static void expectDownload() {
        EXPECT_ENTRIES(own(), entries(beginning(), download(), exiting()));
        expectFlags(0);
    }

    static void expectDeferral() {
        EXPECT_ENTRIES(own(), entries(beginning(), deferral(), exiting()));
        expectFlags(1);
    }
};

TEST_F(DownloadStartTimer, DownloadsOnAGatewayThatIsNotOnboarding) {
    expire();
    expectDownload();
}

TEST_F(DownloadStartTimer, DownloadsOnABridgeThatControls) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    expire();
    expectDownload();
}

TEST_F(DownloadStartTimer, DefersOnAGatewayThatIsOnboarding) {
    node().onboardingStatus = 1;
    expire();
    expectDeferral();
}

TEST_F(DownloadStartTimer, DefersForEveryOnboardingStatusButZero) {
    node().onboardingStatus = -1;
    expire();
    expectDeferral();
}

TEST_F(DownloadStartTimer, DefersOnABridgeEvenWhereItIsNotOnboarding) {
    node().workMode = "AP_Bridge";
    expire();
    expectDeferral();
}

TEST_F(DownloadStartTimer, DefersInAnUnknownMode) {
    node().workMode = "Repeater";
    expire();
    expectDeferral();
}

TEST_F(DownloadStartTimer, DefersWhereTheModeCannotBeHad) {
    node().always["nal_getWorkMode"] = -1;
    expire();
    expectDeferral();
}

TEST_F(DownloadStartTimer, GivesUpQuietlyWhereTheDeviceContextCannotBeHad) {
    node().always["nal_getRootOnBoardingStatus"] = -1;
    expire();
    EXPECT_ENTRIES(own(), entries(beginning(), exiting()));
    expectFlags(0);
}

TEST_F(DownloadStartTimer, RemovesTheDataOfTheMobileApp) {
    shell().runsCommands = true;
    writeFile("ota_agent_data", "x");
    expire();
    EXPECT_FALSE(exists("ota_agent_data"));
}

TEST_F(DownloadStartTimer, KeepsThirtyOneCharactersOfTheRemoval) {
    node().tmpDirectory = "./a-longer-directory";
    readPaths();
    expire();
    const std::string path = "./a-longer-directory/ota_agent_data";
    EXPECT_ENTRIES(only(journal().actions(), {"system"}),
                   entries("system " + ("rm -f " + path).substr(0, 31)));
}

TEST_F(DownloadStartTimer, LeavesTheRebootScheduleAlone) {
    AGENT_VAR(reboot_flag) = 1;
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 0);
}

TEST_F(DownloadStartTimer, SetsItsFlagsBeforeItDownloads) {
    AGENT_VAR(otaLibConfig).OffloadDownloadActivate = 0;
    offerImage();
    int expired = -1;
    int waiting = -1;
    curl().perform = [&](Transfer &) {
        expired = AGENT_VAR(g_mobileTriggerExpire);
        waiting = AGENT_VAR(g_dwldStartTimer);
        return CURLE_OK;
    };
    expire();
    EXPECT_EQ(expired, 1);
    EXPECT_EQ(waiting, 0);
}

TEST_F(DownloadStartTimer, MarksTheDeferralBetweenItsTwoLines) {
    node().onboardingStatus = 1;
    Entries seen;
    noteAt(seen, {deferral().at(0), deferral().at(2)},
           [] { return AGENT_VAR(g_ISDeferedUpgrade); });
    expire();
    EXPECT_ENTRIES(seen, entries(deferral().at(0) + ": 0", deferral().at(2) + ": 1"));
}

TEST_F(DownloadStartTimer, RaisesTheExpiryOnlyAfterTheRemovalAndBeforeItAsksTheNode) {
    Entries seen;
    noteAt(seen, {"system rm", "nal_getWorkMode"}, [] {
        return std::to_string(AGENT_VAR(g_mobileTriggerExpire)) + " " +
               std::to_string(AGENT_VAR(g_dwldStartTimer));
    });
    expire();
    EXPECT_ENTRIES(seen, entries("system rm: 0 1", "nal_getWorkMode: 1 0"));
}

TEST_F(DownloadStartTimer, ForgetsTheModeOfTheLastExpiry) {
    expire();
    node().always["nal_getWorkMode"] = -1;
    journal().clear();
    expire();
    EXPECT_ENTRIES(own(), entries(beginning(), deferral(), exiting()));
}

class DownloadRetryTimer : public StartedAgentTest {
  protected:
    static void expire() { AGENT(otaSwAgentProcessDownloadRetryTimer)(); }
};

TEST_F(DownloadRetryTimer, DownloadsAgain) {
    AGENT_VAR(otaLibConfig).OffloadDownloadActivate = 1;
    AGENT_VAR(g_dwldRetryTimer) = 1;
    expire();
    EXPECT_ENTRIES(shortened(journal().of({kRetry})),
                   entries(trace(kRetry, "Entering otaSwAgentProcessDownloadRetryTimer\n"),
                           both("main", kRetry,
                                "downloadRetryTimer is expired... Calling downloadAndUpgrade()\n"),
                           kHandedOver,
                           trace(kRetry, "Exiting otaSwAgentProcessDownloadRetryTimer\n")));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
}

TEST_F(DownloadRetryTimer, AsksNeitherModeNorOnboardingStatus) {
    AGENT_VAR(otaLibConfig).OffloadDownloadActivate = 1;
    node().onboardingStatus = 1;
    node().workMode = "Repeater";
    expire();
    EXPECT_ENTRIES(shortened(journal().withoutLogs()), entries(kHandedOver));
    EXPECT_EQ(AGENT_VAR(g_ISDeferedUpgrade), 0);
}

TEST_F(DownloadRetryTimer, ClearsItsFlagBeforeItDownloads) {
    offerImage();
    AGENT_VAR(g_dwldRetryTimer) = 1;
    int flag = -1;
    curl().perform = [&flag](Transfer &) {
        flag = AGENT_VAR(g_dwldRetryTimer);
        return CURLE_OK;
    };
    expire();
    EXPECT_EQ(flag, 0);
}

TEST_F(DownloadRetryTimer, ClearsItsFlagBehindItsNotice) {
    AGENT_VAR(otaLibConfig).OffloadDownloadActivate = 1;
    AGENT_VAR(g_dwldRetryTimer) = 1;
    const std::string told = notice("main", kRetry, "downloadRetryTimer is expired");
    Entries seen;
    noteAt(seen, {told, kHandedOver}, [] { return AGENT_VAR(g_dwldRetryTimer); });
    expire();
    EXPECT_ENTRIES(seen, entries(told + ": 1", std::string(kHandedOver) + ": 0"));
}

} // namespace
