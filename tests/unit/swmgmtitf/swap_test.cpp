// SPDX-License-Identifier: MIT
// The offered image already lies in the passive bank: a window, or an activation by policy.
#include "agent_test.h"
#include "orchestration_lines.h"

using namespace ota::test;

namespace {

class Swap : public AgentTest {
  protected:
    // Offers the version of the passive bank.
    void offer(int policy, const OtaLibConfig &config) {
        hold({.version = "0.9", .policy = policy}, config);
        EXPECT_EQ(AGENT(isReceivedValidImage)(), 0);
    }

    Entries announced() {
        return entries(versionsRead("0.9"),
                       acceptance("Previous and Target Software version is same, so no "
                                  "download,only activate passive image"));
    }

    Entries contextLine(int onboarding, int polling) {
        const std::string tail =
            std::to_string(onboarding) + " g_firsttime_polling = " + std::to_string(polling);
        const std::string head =
            "WorkMode = " + node().workMode + ", workRole = " + node().workRole + ", ";
        return both(kUnit, kAcceptance, head + "initial_obardingStatus = " + tail,
                    head + "g_initialObardingStatus = " + tail);
    }
};

TEST_F(Swap, OpensAWindowOnAGatewayInItsFirstPoll) {
    offer(1, kFirstPoll);

    EXPECT_ENTRIES(
        journal().all(),
        entries(announced(), gatewayReport("OTA_SW_SWAP_PASSIVE"), "sleep 5", contextRead(),
                both("swmgmtitf", "isReceivedValidImage",
                     "WorkMode = RGW, workRole = Agent, initial_obardingStatus = 0 "
                     "g_firsttime_polling = 1",
                     "WorkMode = RGW, workRole = Agent, g_initialObardingStatus = 0 "
                     "g_firsttime_polling = 1"),
                both("swmgmtitf", "isReceivedValidImage",
                     "Starting Reboot Timer, g_timerToSwmgnt = 1800, g_timerTypeToSwmgnt = "
                     "rebootTimer"),
                timerGate(1800, "rebootTimer")));
}

TEST_F(Swap, RaisesTheDownloadFlagThoughItStartsTheRebootTimer) {
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);

    offer(0, kFirstPoll);

    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 0);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
    EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
    EXPECT_STREQ(AGENT_VAR(g_timerTypeToSwmgnt), "");
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer", "stopTimer"}),
                   entries("startTimer 1800 rebootTimer"));
}

TEST_F(Swap, ClearsTheOnboardingMarkOnlyAfterTheTimerWasStarted) {
    int duringTheStart = -1;
    journal().onEntry = [&](const std::string &text) {
        if (text == "startTimer 1800 rebootTimer") {
            EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
            duringTheStart = AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame);
        }
    };
    offer(0, kFirstPoll);
    EXPECT_EQ(duringTheStart, 1);
}

TEST_F(Swap, OpensTheWindowWhateverThePolicy) {
    for (const int policy : {-1, 0, 1, 2, 3}) {
        AGENT_VAR(g_dwldStartTimer) = 0;
        offer(policy, kFirstPoll);
        EXPECT_ENTRIES(journal().actions(), entries(signal("OTA_SW_SWAP_PASSIVE"), "sleep 5",
                                                    "startTimer 1800 rebootTimer"));
    }
}

TEST_F(Swap, LeavesALaterPollToTheRebootScheduling) {
    setText(AGENT_VAR(swActTime).actTime, "10:30");

    offer(0, kLaterPoll);

    EXPECT_ENTRIES(
        journal().all(),
        entries(announced(), gatewayReport("OTA_SW_SWAP_PASSIVE"), "sleep 5", contextRead(),
                contextLine(0, 2),
                both("upgrade", "startRebootTimer", "swActTime.actTime = 10:30, g_rebootTime = ",
                     " swActTime.actTime = 10:30, g_rebootTime = "),
                secondsComputed(1795), // half an hour, less the pause
                both("upgrade", "startRebootTimer",
                     "Starting Reboot Timer, g_timerToSwmgnt = 1795, g_timerTypeToSwmgnt = "
                     "rebootTimer"),
                timerGate(1795, "rebootTimer")));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(Swap, GrantsTheWindowOnlyToTheFirstPollBeforeOnboarding) {
    for (const OtaLibConfig &config :
         {OtaLibConfig{0, 0, 0}, OtaLibConfig{0, 0, 2}, OtaLibConfig{0, 0, -1},
          OtaLibConfig{0, 1, 1}, OtaLibConfig{0, -1, 1}, OtaLibConfig{0, 2, 1}}) {
        offer(2, config); // which schedules nothing
        EXPECT_ENTRIES(journal().actions(), entries(signal("OTA_SW_SWAP_PASSIVE"), "sleep 5"));
        EXPECT_ENTRIES(
            only(journal().platformLog(), {"notice swmgmtitf isReceivedValidImage: WorkMode"}),
            only(contextLine(config.initial_obardingStatus, config.firsttime_polling), {"notice"}));
        EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
    }
}

TEST_F(Swap, GrantsNoWindowToAnExtender) {
    node().workMode = "AP_Bridge";
    offer(2, kFirstPoll);
    EXPECT_ENTRIES(journal().actions(),
                   entries(signal("OTA_SW_SWAP_PASSIVE"),
                           "nwa_sendNotificationToRoot updateUpgradeStatus", "sleep 5"));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
}

TEST_F(Swap, GrantsTheWindowToABridgeThatActsAsController) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    offer(2, kFirstPoll);
    EXPECT_ENTRIES(journal().actions(), entries(signal("OTA_SW_SWAP_PASSIVE"), "sleep 5",
                                                "startTimer 1800 rebootTimer"));
}

TEST_F(Swap, LeavesANodeOfUnknownModeToTheRebootScheduling) {
    node().always["nal_getWorkMode"] = -1;
    offer(1, kFirstPoll);
    EXPECT_ENTRIES(journal().actions(),
                   entries(signal("OTA_SW_SWAP_PASSIVE"),
                           "nwa_sendNotificationToRoot updateUpgradeStatus", "sleep 5",
                           "nal_activatePassiveImage", "system echo 0.9 > log/ota_act_success",
                           signal("OTA_SW_ACTIVATION_COMPLETE"),
                           "nwa_sendNotificationToRoot updateUpgradeStatus", "sleep 10",
                           "system /sbin/reboot"));
}

TEST_F(Swap, IsCancelledWithoutAReportWhileAWindowRuns) {
    AGENT_VAR(g_dwldStartTimer) = 1;

    offer(1, kLaterPoll);

    EXPECT_ENTRIES(
        journal().all(),
        entries(announced(), both("swmgmtitf", "isReceivedValidImage",
                                  "already 30 mins timer is running , canceling thie request")));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
}

TEST_F(Swap, TestsTheWindowsFlagAsNotZero) {
    AGENT_VAR(g_dwldStartTimer) = 2;
    offer(1, kLaterPoll);
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(Swap, SchedulesNothingWhereTheContextIsUnknown) {
    node().results["nal_getRootOnBoardingStatus"] = {0, -1}; // the report's query, then its own

    offer(1, kFirstPoll);

    EXPECT_ENTRIES(journal().all(), entries(announced(), gatewayReport("OTA_SW_SWAP_PASSIVE"),
                                            "sleep 5", contextReadFails()));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(Swap, LooksAtTheAnnouncedOnboardingAndNotAtTheNodes) {
    node().onboardingStatus = 1;
    offer(2, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer"}),
                   entries("startTimer 1800 rebootTimer"));
}

TEST_F(Swap, ReplacesAnOlderTimerNameByItsWholeWidth) {
    std::memset(AGENT_VAR(g_timerTypeToSwmgnt), 'z', sizeof AGENT_VAR(g_timerTypeToSwmgnt));
    offer(0, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer"}),
                   entries("startTimer 1800 rebootTimer"));
    for (const char byte : AGENT_VAR(g_timerTypeToSwmgnt)) {
        EXPECT_EQ(byte, '\0');
    }
}

TEST_F(Swap, ForgetsTheModeOfTheLastOne) {
    offer(2, kLaterPoll);
    node().always["nal_getWorkMode"] = -1;
    offer(2, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer"}), Entries{});
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
}

TEST_F(Swap, OpensTheWindowEvenWhereARebootIsScheduled) {
    AGENT_VAR(reboot_flag) = 1;
    offer(0, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer"}),
                   entries("startTimer 1800 rebootTimer"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

} // namespace
