// SPDX-License-Identifier: MIT
// The user's trigger from the mobile app.
#include "agent_test.h"
#include "orchestration_lines.h"

using namespace ota::test;

namespace {

using MobileApp = AgentTest;

constexpr char kTrigger[] = "otaMobileApp_process_newimage_request";
constexpr char kRemoval[] = "system rm /tmp/ota_agent_data";

// The trigger is taken in: debug log first, in bodies that differ.
Entries triggerTaken(int flag, int expired) {
    return entries(trace("otaMobileApp_process_newimage_request",
                         "Calling otaMobileApp_process_newimage_request() ..."),
                   notice("swmgmtitf", "otaMobileApp_process_newimage_request",
                          "Calling otaMobileApp_process_newimage_request() ."),
                   kRemoval,
                   bothDebugFirst("swmgmtitf", "otaMobileApp_process_newimage_request",
                                  "notify_ota.newswavailflag: " + std::to_string(flag) +
                                      " g_mobileTriggerExpire:" + std::to_string(expired) + " "));
}

TEST_F(MobileApp, EndsTheWindowAndGoesToTheDriver) {
    const Offer offer;
    hold(offer, kOffload);

    mobileTrigger();

    EXPECT_ENTRIES(journal().all(),
                   entries(triggerTaken(1, 0),
                           bothDebugFirst("swmgmtitf", "otaMobileApp_process_newimage_request",
                                          "Stopping downloadStartTimer, g_timerToSwmgnt = 0, "
                                          "g_timerTypeToSwmgnt = downloadStartTimer"),
                           timerGate(0, "downloadStartTimer"), handedOver(offer, "")));
}

TEST_F(MobileApp, OnlyRemovesTheFileWhereNothingIsAskedFor) {
    hold({}, kOffload);
    for (const int flag : {0, 2, -1, 256, INT32_MAX, INT32_MIN}) {
        journal().clear();
        mobileTrigger(flag);
        EXPECT_ENTRIES(journal().all(), triggerTaken(flag, 0));
    }
}

TEST_F(MobileApp, IsIgnoredOnceTheWindowHasRunOut) {
    hold({}, kOffload);
    AGENT_VAR(g_mobileTriggerExpire) = 1;

    mobileTrigger();

    EXPECT_ENTRIES(journal().all(), triggerTaken(1, 1));
    EXPECT_EQ(AGENT_VAR(g_mobileTriggerExpire), 1);
}

TEST_F(MobileApp, TestsTheExpiryAsNotZero) {
    AGENT_VAR(g_mobileTriggerExpire) = 7;
    mobileTrigger();
    EXPECT_ENTRIES(journal().all(), triggerTaken(1, 7));
}

TEST_F(MobileApp, RemovesAFixedPathWhateverTheTableSays) {
    node().tmpDirectory = "elsewhere";
    readPaths();
    mobileTrigger(0);
    EXPECT_ENTRIES(journal().actions(), entries("system rm /tmp/ota_agent_data"));
}

TEST_F(MobileApp, DoesNotAskWhetherAWindowRuns) {
    hold({}, kOffload);
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
    mobileTrigger();
    EXPECT_ENTRIES(only(journal().actions(), {"stopTimer"}),
                   entries("stopTimer downloadStartTimer"));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
}

TEST_F(MobileApp, LeavesTheWindowsFlagRaisedSoThatLaterOffersAreRefused) {
    announce({}, {1, 0, 1});
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);

    mobileTrigger();

    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
    journal().clear();
    announce({.version = "4QZ-3.0"}, kOffload);
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf otaSwmgnt"}),
        entries(notice(kUnit, kNewImage,
                       std::string("DeviceMAC--payload MAC is:") + kNodeMac + "--" + kNodeMac),
                notice(kUnit, kNewImage,
                       "already 30 mins timer is running , cancelling this request")));
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(MobileApp, ClearsTheExpiryBehindTheDownload) {
    hold({}, kOffload);
    journal().onEntry = [](const std::string &text) {
        if (text.starts_with("nal_setSwmgntFileServerInfo")) {
            AGENT_VAR(g_mobileTriggerExpire) = 1;
        }
    };
    mobileTrigger();
    EXPECT_EQ(AGENT_VAR(g_mobileTriggerExpire), 0);
}

TEST_F(MobileApp, DownloadsWithoutLookingAtModeOrOnboarding) {
    node().workMode = "AP_Bridge";
    node().onboardingStatus = 1;
    hold({.url = ""});

    mobileTrigger();

    EXPECT_ENTRIES(journal().logsOf({kTrigger, "downloadAndUpgrade"}),
                   entries(only(triggerTaken(1, 0), {"notice", "debug"}),
                           bothDebugFirst(kUnit, kTrigger,
                                          "Stopping downloadStartTimer, g_timerToSwmgnt = 0, "
                                          "g_timerTypeToSwmgnt = downloadStartTimer"),
                           trace("downloadAndUpgrade", "Calling ota_httpDownLoadFile()..."),
                           both(kUnit, "downloadAndUpgrade", "downloadRet = -1")));
}

TEST_F(MobileApp, LeavesAPendingRetryAlone) {
    hold({}, kOffload);
    AGENT_VAR(g_dwldRetryTimer) = 1;
    mobileTrigger();
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1);
    EXPECT_ENTRIES(only(journal().actions(), {"stopTimer"}),
                   entries("stopTimer downloadStartTimer"));
}

TEST_F(MobileApp, DownloadsEvenWhatWasPutOff) {
    AGENT_VAR(g_ISDeferedUpgrade) = 1;
    hold({}, kOffload);
    mobileTrigger();
    EXPECT_EQ(only(journal().actions(), {"nal_setSwmgntFileServerInfo"}).size(), 1U);
    EXPECT_EQ(AGENT_VAR(g_ISDeferedUpgrade), 1);
}

} // namespace
