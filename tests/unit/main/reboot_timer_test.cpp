// SPDX-License-Identifier: MIT
// What happens when "rebootTimer" runs out.
#include "agent_test.h"
#include "moments.h"

using namespace ota::test;

namespace {

constexpr char kHandler[] = "otaSwAgentProcessRebootTimer";
const std::string kMarkerCommand = "system echo 2.0 > log/ota_act_success";

class RebootTimer : public StartedAgentTest {
  protected:
    void SetUp() override {
        StartedAgentTest::SetUp();
        setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
        AGENT_VAR(g_dwldStartTimer) = 1;
        AGENT_VAR(reboot_flag) = 1;
    }

    static void expire() { AGENT(otaSwAgentProcessRebootTimer)(); }

    static Entries own() { return journal().of({kHandler}); }

    static std::string entering() {
        return trace(kHandler, "Entering otaSwAgentProcessRebootTimer\n");
    }
    static std::string exiting() {
        return trace(kHandler, "Exiting otaSwAgentProcessRebootTimer\n");
    }

    static Entries window(int flag, int onboarding) {
        return both("main", kHandler,
                    "g_firstTimeObardingWindowGivenPSNWBuildSame = " + std::to_string(flag) +
                        " onboardStatus = " + std::to_string(onboarding) + "\n");
    }

    static Entries deferral() {
        return entries(both("main", kHandler,
                            " onboardStatus is TRUE we defer activate_image till next reboot or "
                            "polling cyclye or trigger"),
                       both("main", kHandler, " Marked g_ISDeferedUpgrade as true"));
    }

    static Entries activation() {
        return entries(both("main", kHandler,
                            " current onboardStatus is false so we can go ahead and "
                            "activate_image\n"),
                       "nal_activatePassiveImage");
    }

    static Entries success() {
        return both("main", kHandler, "Image Activation Success... Going for Reboot!!!\n");
    }

    static Entries rebooted() {
        return entries(signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10", "system /sbin/reboot");
    }

    static void expectDeferred(int deferred) {
        EXPECT_EQ(AGENT_VAR(g_ISDeferedUpgrade), deferred);
        EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);
        EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
    }
};

TEST_F(RebootTimer, ActivatesMarksReportsAndReboots) {
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(1, 0), activation(), success(), kMarkerCommand,
                                  rebooted(), exiting()));
    expectDeferred(0);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(RebootTimer, WritesTheActivatedVersionIntoTheMarker) {
    shell().runsCommands = true;
    expire();
    EXPECT_EQ(contentOf("log/ota_act_success"), "2.0\n");
}

TEST_F(RebootTimer, ActivatesEvenWhileOnboardingOutsideTheWindow) {
    node().onboardingStatus = 1;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(1, 1), activation(), success(), kMarkerCommand,
                                  rebooted(), exiting()));
    expectDeferred(0);
}

TEST_F(RebootTimer, DefersWhileOnboardingInsideTheWindow) {
    node().onboardingStatus = 1;
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(0, 1), deferral(), exiting()));
    expectDeferred(1);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(RebootTimer, DefersInAnUnknownModeTooWhileOnboardingInsideTheWindow) {
    node().workMode = "Repeater";
    node().onboardingStatus = 1;
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(0, 1), deferral(), exiting()));
}

TEST_F(RebootTimer, ActivatesInsideTheWindowOnceOnboardingIsOver) {
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(0, 0), activation(), success(), kMarkerCommand,
                                  rebooted(), exiting()));
    expectDeferred(0);
}

TEST_F(RebootTimer, DefersOnlyForAnOnboardingStatusOfExactlyOne) {
    node().onboardingStatus = 2;
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(0, 2), activation(), success(), kMarkerCommand,
                                  rebooted(), exiting()));
}

TEST_F(RebootTimer, ActivatesOnABridgeAndForwardsTheReport) {
    node().workMode = "AP_Bridge";
    expire();
    EXPECT_ENTRIES(journal().actions(), entries("nal_activatePassiveImage", kMarkerCommand,
                                                signal("OTA_SW_ACTIVATION_COMPLETE"),
                                                "nwa_sendNotificationToRoot updateUpgradeStatus",
                                                "sleep 10", "system /sbin/reboot"));
}

TEST_F(RebootTimer, ActivatesOnABridgeThatControls) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    expire();
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", kMarkerCommand, rebooted()));
}

TEST_F(RebootTimer, DoesNothingInAnyOtherModeButResetItsFlags) {
    node().workMode = "Repeater";
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(0, 0), exiting()));
    expectDeferred(0);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(RebootTimer, DoesNothingWhereTheModeCannotBeHad) {
    node().always["nal_getWorkMode"] = -1;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(1, 0), exiting()));
}

TEST_F(RebootTimer, GivesUpQuietlyWhereTheDeviceContextCannotBeHad) {
    node().always["nal_getRootOnBoardingStatus"] = -1;
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), exiting()));
    expectDeferred(0);
}

TEST_F(RebootTimer, ReportsAFailedActivationAndSchedulesNothing) {
    node().always["nal_activatePassiveImage"] = 0;
    expire();
    EXPECT_ENTRIES(own(), entries(entering(), window(1, 0), activation(),
                                  both("main", kHandler,
                                       "Image Activation Failed... Sending Failure Response to "
                                       "swmgnt!!!\n"),
                                  signal("OTA_SW_ACTIVATION_FAILED"), exiting()));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
    expectDeferred(0);
}

TEST_F(RebootTimer, TakesAnyResultButZeroAsActivated) {
    node().always["nal_activatePassiveImage"] = -1;
    expire();
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", kMarkerCommand, rebooted()));
}

TEST_F(RebootTimer, KeepsSixtyThreeCharactersOfTheMarkerCommand) {
    const std::string version(63, 'v');
    setText(AGENT_VAR(swInfo).nxtMSVersion, version);
    expire();
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage",
                           "system " + ("echo " + version).substr(0, 63), rebooted()));
}

TEST_F(RebootTimer, CutsThePathOfALongMarkerCommand) {
    const std::string version(40, 'v');
    setText(AGENT_VAR(swInfo).nxtMSVersion, version);
    expire();
    const std::string command = "echo " + version + " > log/ota_act_success";
    EXPECT_ENTRIES(only(journal().actions(), {"system echo"}),
                   entries("system " + command.substr(0, 63)));
}

TEST_F(RebootTimer, IgnoresTheResultsOfItsCommands) {
    node().always["system"] = -1;
    expire();
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", kMarkerCommand, rebooted()));
}

TEST_F(RebootTimer, LowersTheWindowsFlagFirstAndRaisesTheOnboardingMarkLast) {
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    const std::string asks = "nal_getWorkMode"; // for itself and for the report
    const std::string activates = "nal_activatePassiveImage";
    const std::string reboots = "system /sbin/reboot";
    Entries seen;
    noteAt(seen, {entering(), asks, activates, kMarkerCommand, reboots, exiting()}, [] {
        return std::to_string(AGENT_VAR(g_dwldStartTimer)) + " " +
               std::to_string(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame));
    });
    expire();
    EXPECT_ENTRIES(seen, entries(entering() + ": 1 0", asks + ": 0 0", activates + ": 0 0",
                                 kMarkerCommand + ": 0 0", asks + ": 0 0", reboots + ": 0 0",
                                 exiting() + ": 0 1"));
}

TEST_F(RebootTimer, MarksTheDeferralBetweenItsTwoLines) {
    node().onboardingStatus = 1;
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
    Entries seen;
    noteAt(seen, {deferral().at(0), deferral().at(2)},
           [] { return AGENT_VAR(g_ISDeferedUpgrade); });
    expire();
    EXPECT_ENTRIES(seen, entries(deferral().at(0) + ": 0", deferral().at(2) + ": 1"));
}

TEST_F(RebootTimer, DropsTheScheduleOnlyAfterTheFailedActivationWasReported) {
    node().always["nal_activatePassiveImage"] = 0;
    Entries seen;
    noteAt(seen, {signal("OTA_SW_ACTIVATION_FAILED")}, [] { return AGENT_VAR(reboot_flag); });
    expire();
    EXPECT_ENTRIES(seen, entries(signal("OTA_SW_ACTIVATION_FAILED") + ": 1"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(RebootTimer, ForgetsTheModeOfTheLastExpiry) {
    expire();
    node().always["nal_getWorkMode"] = -1;
    journal().clear();
    expire();
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

using DeferralQuery = AgentTest;

TEST_F(DeferralQuery, GivesTheFlagAndLeavesIt) {
    for (const std::uint8_t flag : {std::uint8_t{0}, std::uint8_t{1}}) {
        AGENT_VAR(g_ISDeferedUpgrade) = flag;
        journal().clear();
        EXPECT_EQ(AGENT(ota_ISUpgradeDefered)(), flag);
        EXPECT_EQ(AGENT_VAR(g_ISDeferedUpgrade), flag);
        const std::string value = std::to_string(flag);
        EXPECT_ENTRIES(journal().all(), both("main", "ota_ISUpgradeDefered",
                                             "g_ISDeferedUpgrade value is " + value + "\n",
                                             "Marked g_ISDeferedUpgrade values is " + value));
    }
}

} // namespace
