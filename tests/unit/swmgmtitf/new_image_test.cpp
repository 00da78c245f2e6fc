// SPDX-License-Identifier: MIT
// A new image is announced: refusals, the reboot on arrival, the stopped retry, the way on.
#include "agent_test.h"
#include "moments.h"
#include "orchestration_lines.h"

using namespace ota::test;

namespace {

using NewImage = AgentTest;

constexpr char kReboot[] = "system /sbin/reboot";

std::string handedToGateway(const Offer &offer, const std::string &time = {}) {
    return "nal_setSwmgntFileServerInfo " + escaped(handOff(offer, time));
}

TEST_F(NewImage, ForAnotherDeviceIsRefusedWithAnError) {
    const Offer offer{.policy = 3, .mac = "00:00:00:00:00:01"};

    announce(offer);

    EXPECT_ENTRIES(
        journal().all(),
        entries(requestTaken(offer, kLaterPoll),
                bothErrors("swmgmtitf", "otaSwmgnt_process_newimage_info",
                           "Device MAC and payload MAC not matching:wrong device, not allow "
                           "upgrade")));
}

TEST_F(NewImage, OnANodeWithoutAMacIsRefused) {
    node().always["socket"] = 1;
    announce({});
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf otaSwmgnt"}),
        entries(notice(kUnit, kNewImage, std::string("DeviceMAC--payload MAC is:--") + kNodeMac)));
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(NewImage, ThatRunsAlreadyIsOnlyReported) {
    const Offer offer{.version = "1.0"};

    announce(offer);

    EXPECT_ENTRIES(
        journal().all(),
        entries(requestTaken(offer, kLaterPoll), versionsRead("1.0"),
                acceptance("Current and Target Software version is same, so no upgrade needed"),
                gatewayReport("NO_OTA_SW_UPGRADE"),
                both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                     "isReceivedValidImage return false return")));
}

TEST_F(NewImage, GoesToTheDriverAtOnceOnALaterPoll) {
    const Offer offer;

    announce(offer, kOffload);

    EXPECT_ENTRIES(journal().all(), entries(requestTaken(offer, kOffload),
                                            contextAsked(offer, kOffload), handedOver(offer, "")));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
}

TEST_F(NewImage, IsDownloadedWhereItIsNotOffloaded) {
    announce({.url = ""});
    EXPECT_ENTRIES(
        journal().logsOf({kNewImage, "downloadAndUpgrade"}),
        entries(trace(kNewImage,
                      "Inside otaSwmgnt_process_newimage_info to process the new image info"),
                newImage(std::string("DeviceMAC--payload MAC is:") + kNodeMac + "--" + kNodeMac),
                newImage("About to call  ota_getWifiServiceObj "),
                newImage("WorkMode = RGW workRole = Agent, initial_obardingStatus =0 "
                         "g_firsttime_polling = 2"),
                trace("downloadAndUpgrade", "Calling ota_httpDownLoadFile()..."),
                both("swmgmtitf", "downloadAndUpgrade", "downloadRet = -1")));
}

TEST_F(NewImage, EndsWhereTheContextIsUnknown) {
    node().always["nal_getRootOnBoardingStatus"] = -1;
    const Offer offer;

    announce(offer, kOffload);

    EXPECT_ENTRIES(journal().all(),
                   entries(requestTaken(offer, kOffload), acceptedForDownload(offer.version),
                           both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                                "About to call  ota_getWifiServiceObj "),
                           contextReadFails(),
                           both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                                "ota_getWifiServiceObj ret -1")));
}

TEST_F(NewImage, RebootsOnArrivalAndGoesOnWithTheIntake) {
    const Offer offer{.version = "1.0", .policy = 3};

    announce(offer);

    EXPECT_ENTRIES(
        journal().all(),
        entries(requestTaken(offer, kLaterPoll), "nal_activatePassiveImage",
                both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                     "Upgrade Policy Received from SWMGNT is 3... Going for immediate Reboot!"),
                gatewayReport("OTA_SW_ACTIVATION_REBOOT_COMPLETE"), "sleep 20", kReboot,
                versionsRead("1.0"),
                acceptance("Current and Target Software version is same, so no upgrade needed"),
                gatewayReport("NO_OTA_SW_UPGRADE"),
                newImage("isReceivedValidImage return false return")));
}

TEST_F(NewImage, IsHandledToItsEndBehindTheRebootOnArrival) {
    const Offer offer{.policy = 3};
    AGENT_VAR(g_dwldRetryTimer) = 1;

    announce(offer, kOffload);

    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_REBOOT_COMPLETE"),
                           "sleep 20", kReboot, "stopTimer downloadRetryTimer",
                           handedToGateway(offer)));
}

TEST_F(NewImage, OpensTheWindowBehindTheRebootOnArrival) {
    announce({.policy = 3}, kFirstPoll);
    EXPECT_ENTRIES(
        only(journal().actions(), {"system", "startTimer"}),
        entries(kReboot, "system rm -f ./ota_agent_data", "startTimer 1800 downloadStartTimer"));
}

TEST_F(NewImage, ReportsASwapBehindTheRebootOnArrivalButSchedulesNothing) {
    announce({.version = "0.9", .policy = 3});
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_REBOOT_COMPLETE"),
                           "sleep 20", kReboot, signal("OTA_SW_SWAP_PASSIVE"), "sleep 5"));
}

TEST_F(NewImage, RebootsOnArrivalEvenWhileAWindowRuns) {
    AGENT_VAR(g_dwldStartTimer) = 1;
    announce({.policy = 3});
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_REBOOT_COMPLETE"),
                           "sleep 20", kReboot));
}

TEST_F(NewImage, TakesAnyResultButZeroForAnActivatedBank) {
    node().results["nal_activatePassiveImage"] = {-1};
    announce({.version = "1.0", .policy = 3});
    EXPECT_ENTRIES(only(journal().actions(), {"system"}), entries(kReboot));
}

TEST_F(NewImage, SaysNothingOfAFailedActivationOnArrival) {
    node().results["nal_activatePassiveImage"] = {0};
    const Offer offer{.policy = 3};

    announce(offer, kOffload);

    EXPECT_ENTRIES(journal().all(),
                   entries(requestTaken(offer, kOffload), "nal_activatePassiveImage",
                           contextAsked(offer, kOffload), handedOver(offer, "")));
}

TEST_F(NewImage, OfAnyOtherPolicyActivatesNothingOnArrival) {
    for (const int policy : {-3, -1, 0, 1, 2, 4, 30}) {
        journal().clear();
        const Offer offer{.policy = policy};
        announce(offer, kOffload);
        EXPECT_ENTRIES(journal().actions(), entries(handedToGateway(offer)));
    }
}

TEST_F(NewImage, StopsAPendingRetryAndIsDecidedAfresh) {
    AGENT_VAR(g_dwldRetryTimer) = 1;
    std::memset(AGENT_VAR(g_timerTypeToSwmgnt), 'z', sizeof AGENT_VAR(g_timerTypeToSwmgnt));
    const Offer offer;

    announce(offer, kOffload);

    EXPECT_ENTRIES(
        journal().all(),
        entries(requestTaken(offer, kOffload),
                both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                     "Stopping downloadRetryTimer, g_timerToSwmgnt = 0, g_timerTypeToSwmgnt = "
                     "downloadRetryTimer"),
                timerGate(0, "downloadRetryTimer"), contextAsked(offer, kOffload),
                handedOver(offer, "")));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
    EXPECT_STREQ(AGENT_VAR(g_timerTypeToSwmgnt), "");
}

TEST_F(NewImage, StopsAPendingRetryEvenWhereItIsThenRefused) {
    AGENT_VAR(g_dwldRetryTimer) = 1;
    AGENT_VAR(g_dwldStartTimer) = 1;
    announce({});
    EXPECT_ENTRIES(journal().actions(), entries("stopTimer downloadRetryTimer"));
}

TEST_F(NewImage, ForAnotherDeviceLeavesAPendingRetryAlone) {
    AGENT_VAR(g_dwldRetryTimer) = 1;
    announce({.mac = "00:00:00:00:00:01"});
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1);
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(NewImage, IsRefusedWhileAWindowRuns) {
    AGENT_VAR(g_dwldStartTimer) = 1;
    const Offer offer;

    announce(offer);

    EXPECT_ENTRIES(journal().all(),
                   entries(requestTaken(offer, kLaterPoll),
                           both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                                "already 30 mins timer is running , cancelling this request")));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
}

TEST_F(NewImage, ReplacesWhatTheAgentHoldsEvenWhereItIsRefused) {
    AGENT_VAR(g_dwldStartTimer) = 1;
    announce({.version = "4QZ-7.7"}, {1, 5, 6});
    EXPECT_STREQ(AGENT_VAR(swInfo).nxtMSVersion, "4QZ-7.7");
    EXPECT_EQ(AGENT_VAR(otaLibConfig).initial_obardingStatus, 5);
}

TEST_F(NewImage, ThatDoesNotParseActsOnThePreviousOne) {
    const Offer previous{.version = "0.9", .policy = 1};
    announce(previous);
    const Entries first = journal().actions();
    journal().clear();

    announceText("{ half an offer");

    EXPECT_ENTRIES(journal().actions(), first);
    EXPECT_ENTRIES(only(first, {"system"}),
                   entries("system echo 0.9 > log/ota_act_success", kReboot));
}

TEST_F(NewImage, ThatIsNullActsOnThePreviousOne) {
    announce({.version = "1.0"});
    journal().clear();
    announceText(nullptr);
    EXPECT_ENTRIES(journal().actions(), entries(signal("NO_OTA_SW_UPGRADE")));
}

TEST_F(NewImage, ThatNamesOnlyAVersionTakesTheRestFromThePreviousOne) {
    Offer offer{.url = "http://127.0.0.1/old", .checksum = "c0ffee"};
    announce(offer, kOffload);
    journal().clear();

    announceText(R"({"nxtMSVersion":"4QZ-3.0"})", kOffload);

    offer.version = "4QZ-3.0";
    EXPECT_ENTRIES(journal().actions(), entries(handedToGateway(offer)));
}

TEST_F(NewImage, ThatDoesNotParseIsAnotherDevicesOnAFreshAgent) {
    announceText("not JSON");
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"error"}),
        entries(error(kUnit, "ota_recv_newimagenfo", "parse_OtaMatrixItem_from_json fail"),
                error(kUnit, kNewImage,
                      "Device MAC and payload MAC not matching:wrong device, not allow "
                      "upgrade")));
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(NewImage, LowersTheRetrysFlagBeforeItStopsTheTimer) {
    AGENT_VAR(g_dwldRetryTimer) = 1;
    Entries seen;
    noteAt(seen, {"stopTimer"}, [] { return AGENT_VAR(g_dwldRetryTimer); });
    announce({}, kOffload);
    EXPECT_ENTRIES(seen, entries("stopTimer: 0"));
}

TEST_F(NewImage, ForgetsTheModeAndTheMacOfTheLastOne) {
    const Offer offer;
    announce(offer, kOffload);
    journal().clear();
    node().always["nal_getWorkMode"] = -1;
    announce(offer, {1, 0, 1});
    EXPECT_ENTRIES(journal().actions(), entries(handedToGateway(offer)));

    journal().clear();
    node().always["ioctl"] = -1;
    announce(offer, kOffload);
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(NewImage, TestsTheFlagsAsNotZero) {
    AGENT_VAR(g_dwldRetryTimer) = 2;
    AGENT_VAR(g_dwldStartTimer) = 4;
    announce({});
    EXPECT_ENTRIES(journal().actions(), entries("stopTimer downloadRetryTimer"));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
}

} // namespace
