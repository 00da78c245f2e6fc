// SPDX-License-Identifier: MIT
// What follows a written image, policy by policy; the fall-back ends all of them.
#include "install_fixture.h"
#include "moments.h"

#include <limits>

using namespace ota::test;

namespace {

class Policy : public InstallTest {
  protected:
    // Installs with this policy; the steps behind the line that prints it.
    Entries stepsOf(int policy) {
        journal().clear();
        AGENT_VAR(swInfo).policy = policy;
        install();
        return installedBehind(trace(kUpgrade, "swInfo.policy = " + std::to_string(policy)));
    }

    static Entries startingTimer(int seconds) {
        const std::string number = std::to_string(seconds);
        return entries(said("Starting Reboot Timer, g_timerToSwmgnt = " + number +
                            ", g_timerTypeToSwmgnt = rebootTimer"),
                       "startTimer " + number + " rebootTimer");
    }

    static Entries context(const std::string &mode, const std::string &role) {
        return said("workMode = " + mode + ", workRole = " + role + ", onboardStatus = 0");
    }

    static Entries rebootAt(const std::string &time, int seconds) {
        return entries(said("g_rebootTime = " + time),
                       said("rebootTime is = " + std::to_string(seconds)));
    }

    static Entries fetched(const std::string &time) {
        return said("No MobApp Reboot Trigger for SwActTime... Getting SwActTime from cfgmgr, "
                    "g_rebootTime = " +
                    time);
    }

    static Entries endOfSchedule() {
        return {"system rm -rf ./otaMD5.tx", "nal_fallBackToActiveImage"};
    }

    void SetUp() override {
        InstallTest::SetUp();
        setText(AGENT_VAR(g_rebootTime), "12:00");
        node().activationTime = "11:30";
    }
};

TEST_F(Policy, ZeroSchedulesTheRebootAtTheGatewaysPreferredTime) {
    EXPECT_ENTRIES(stepsOf(0),
                   entries(context("RGW", "Agent"), fetched("11:30"), rebootAt("11:30", 5400),
                           startingTimer(5400), endOfSchedule()));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
    EXPECT_TRUE(node().signals.empty());
}

TEST_F(Policy, ZeroClearsTheTimerRequest) {
    setText(AGENT_VAR(g_timerTypeToSwmgnt), "aTimerOfSomebodyElseWithAName31");
    EXPECT_ENTRIES(only(stepsOf(0), {"startTimer"}), entries("startTimer 5400 rebootTimer"));
    EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
    EXPECT_STREQ(AGENT_VAR(g_timerTypeToSwmgnt), "");
}

TEST_F(Policy, ZeroTakesAControllingBridgeForAGateway) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    EXPECT_ENTRIES(stepsOf(0),
                   entries(context("AP_Bridge", "Controller"), fetched("11:30"),
                           rebootAt("11:30", 5400), startingTimer(5400), endOfSchedule()));
}

TEST_F(Policy, ZeroKeepsTheStoredTimeAwayFromTheGateway) {
    node().workMode = "AP_Bridge";
    EXPECT_ENTRIES(stepsOf(0), entries(context("AP_Bridge", "Agent"), rebootAt("12:00", 7200),
                                       startingTimer(7200), endOfSchedule()));
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "12:00");
}

TEST_F(Policy, ZeroKeepsTheStoredTimeOnceTheMobileAppAskedForOne) {
    AGENT_VAR(g_mAppRebootTrig) = 1;
    EXPECT_ENTRIES(stepsOf(0), entries(context("RGW", "Agent"), rebootAt("12:00", 7200),
                                       startingTimer(7200), endOfSchedule()));
    EXPECT_EQ(AGENT_VAR(g_mAppRebootTrig), 1);
}

TEST_F(Policy, ZeroTestsTheMobileAppsMarkAsNotZero) {
    AGENT_VAR(g_mAppRebootTrig) = 2;
    EXPECT_ENTRIES(only(stepsOf(0), {"startTimer"}), entries("startTimer 7200 rebootTimer"));
}

TEST_F(Policy, ZeroKeepsTheStoredTimeWhereTheNodeCannotBeAsked) {
    node().always["nal_getRootOnBoardingStatus"] = -1;
    EXPECT_ENTRIES(stepsOf(0),
                   entries(rebootAt("12:00", 7200), startingTimer(7200), endOfSchedule()));
}

TEST_F(Policy, ZeroKeepsTheStoredTimeWhereThePreferredOneCannotBeHad) {
    node().always["nal_getSwAutoUpgradeInfo"] = -1;
    EXPECT_ENTRIES(stepsOf(0),
                   entries(context("RGW", "Agent"), fetched("12:00"), rebootAt("12:00", 7200),
                           startingTimer(7200), endOfSchedule()));
}

TEST_F(Policy, ZeroWaitsAWholeDayForThePresentSecond) {
    node().activationTime = "10:00:00";
    EXPECT_ENTRIES(only(stepsOf(0), {"startTimer"}), entries("startTimer 86400 rebootTimer"));
}

TEST_F(Policy, ZeroStartsNoSecondTimer) {
    stepsOf(0);
    node().activationTime = "11:45";
    EXPECT_ENTRIES(stepsOf(0), entries(context("RGW", "Agent"), fetched("11:45"),
                                       rebootAt("11:45", 6300), endOfSchedule()));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(Policy, ZeroTakesEveryFlagBesidesZeroForAScheduledReboot) {
    AGENT_VAR(reboot_flag) = -1;
    EXPECT_ENTRIES(only(stepsOf(0), {"startTimer"}), Entries{});
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(Policy, ZeroCutsTheRemovalAt18Characters) {
    setText(AGENT_VAR(g_otamd5txt), "ab/otaMD5.t");
    EXPECT_ENTRIES(only(stepsOf(0), {"system"}), entries("system rm -rf ab/otaMD5.t"));
    setText(AGENT_VAR(g_otamd5txt), "ab/otaMD5.txt");
    EXPECT_ENTRIES(only(stepsOf(0), {"system"}), entries("system rm -rf ab/otaMD5.t"));
}

TEST_F(Policy, ZeroCountsTheRebootAsScheduledAfterEverythingElse) {
    Entries seen;
    noteAt(seen, {"startTimer", "system rm", "nal_fallBack"},
           [] { return AGENT_VAR(reboot_flag); });
    stepsOf(0);
    EXPECT_ENTRIES(seen, entries("startTimer: 0", "system rm: 0", "nal_fallBack: 1"));
}

TEST_F(Policy, ZeroForgetsTheModeAndRoleOfTheLastInstallation) {
    stepsOf(0);
    setText(AGENT_VAR(g_rebootTime), "12:00");
    node().always["nal_getWorkMode"] = -1;
    node().always["nal_getWorkRole"] = -1;
    EXPECT_ENTRIES(stepsOf(0), entries(context("", ""), rebootAt("12:00", 7200), endOfSchedule()));
}

Entries rebootingInto(const std::string &marking) {
    return entries(said("Upgrade Policy Received from SWMGNT is 1... Going for immediate Reboot!"),
                   "system echo " + marking, signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10",
                   "system /sbin/reboot", "nal_fallBackToActiveImage");
}

TEST_F(Policy, OneActivatesMarksReportsAndReboots) {
    EXPECT_ENTRIES(stepsOf(1), entries("nal_activatePassiveImage",
                                       rebootingInto("4QZ-2.0 > log/ota_act_success")));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(Policy, OneReportsTheNewVersionAsTheCurrentOne) {
    stepsOf(1);
    EXPECT_STREQ(AGENT_VAR(swUpgStat).curswversion, "4QZ-2.0");
    EXPECT_STREQ(AGENT_VAR(swUpgStat).prevswversion, "1.0");
}

TEST_F(Policy, OneTakesEveryResultBesidesZeroForAnActivation) {
    node().always["nal_activatePassiveImage"] = -1;
    EXPECT_ENTRIES(stepsOf(1), entries("nal_activatePassiveImage",
                                       rebootingInto("4QZ-2.0 > log/ota_act_success")));
}

TEST_F(Policy, OneSaysNothingOfAFailedActivation) {
    AGENT_VAR(reboot_flag) = 1;
    node().always["nal_activatePassiveImage"] = 0;
    EXPECT_ENTRIES(stepsOf(1), entries("nal_activatePassiveImage", "nal_fallBackToActiveImage"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(Policy, OneCutsTheMarkersCommandAt63Characters) {
    const std::string version = "4QZ-" + std::string(59, '9');
    setText(AGENT_VAR(swInfo).nxtMSVersion, version);
    EXPECT_ENTRIES(stepsOf(1),
                   entries("nal_activatePassiveImage", rebootingInto(version.substr(0, 58))));

    setText(AGENT_VAR(swInfo).nxtMSVersion, version.substr(0, 40));
    EXPECT_EQ(only(stepsOf(1), {"system echo"}).front(),
              "system " +
                  ("echo " + version.substr(0, 40) + " > log/ota_act_success").substr(0, 63));
}

TEST_F(Policy, OneWritesTheMarkerForReal) {
    shell().runsCommands = true;
    stepsOf(1);
    EXPECT_EQ(contentOf("log/ota_act_success"), "4QZ-2.0\n");
}

TEST_F(Policy, TwoWritesOnlyReportsAndWaits) {
    EXPECT_ENTRIES(stepsOf(2), entries(erred("this is special case of downloadTrigger from portal"),
                                       erred("just commit to passive partition and wait"),
                                       signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10",
                                       "nal_fallBackToActiveImage"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(Policy, OfAnyOtherNumberDoesNothing) {
    for (const int policy : {3, 4, -1, std::numeric_limits<int>::min()}) {
        EXPECT_ENTRIES(stepsOf(policy), entries("nal_fallBackToActiveImage"));
    }
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

} // namespace
