// SPDX-License-Identifier: MIT
// Activating an image that already waits in the passive bank, by policy.
#include "agent_test.h"
#include "announcements.h"
#include "moments.h"
#include "shared_lines.h"

using namespace ota::test;

namespace {

constexpr char kUnit[] = "upgrade";
constexpr char kSchedule[] = "startRebootTimer";
constexpr char kReboot[] = "system /sbin/reboot";

class RebootSchedule : public AgentTest {
  protected:
    static void scheduleFor(int policy, const std::string &version = "0.9") {
        hold({.version = version, .policy = policy});
        AGENT(startRebootTimer)();
    }

    static Entries schedule(const std::string &body) { return both(kUnit, kSchedule, body); }

    // The pair's debug copy is indented.
    static Entries times(const std::string &actTime, const std::string &rebootTime) {
        const std::string body =
            "swActTime.actTime = " + actTime + ", g_rebootTime = " + rebootTime;
        return both(kUnit, kSchedule, body, " " + body);
    }
};

TEST_F(RebootSchedule, ArmsTheTimerAtTheActivationTime) {
    setText(AGENT_VAR(swActTime).actTime, "10:30");
    setText(AGENT_VAR(g_rebootTime), "03:30");

    scheduleFor(0);

    EXPECT_ENTRIES(
        journal().all(),
        entries(both("upgrade", "startRebootTimer",
                     "swActTime.actTime = 10:30, g_rebootTime = 03:30",
                     " swActTime.actTime = 10:30, g_rebootTime = 03:30"),
                secondsComputed(1800),
                both("upgrade", "startRebootTimer",
                     "Starting Reboot Timer, g_timerToSwmgnt = 1800, g_timerTypeToSwmgnt = "
                     "rebootTimer"),
                timerGate(1800, "rebootTimer")));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
    EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
    EXPECT_STREQ(AGENT_VAR(g_timerTypeToSwmgnt), "");
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "03:30");
}

TEST_F(RebootSchedule, WithoutAnActivationTimeWaitsForMidnight) {
    setText(AGENT_VAR(g_rebootTime), "10:30");
    scheduleFor(0);
    EXPECT_ENTRIES(journal().actions(), entries("startTimer 50400 rebootTimer"));
}

TEST_F(RebootSchedule, LeavesARebootThatIsScheduledAlone) {
    setText(AGENT_VAR(swActTime).actTime, "10:30");
    for (const int flag : {1, 2, -1}) {
        AGENT_VAR(reboot_flag) = flag;

        scheduleFor(0);

        EXPECT_ENTRIES(journal().all(), entries(times("10:30", ""), secondsComputed(1800)));
        EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
        EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
    }
}

TEST_F(RebootSchedule, StartsNoSecondTimerForASecondImage) {
    setText(AGENT_VAR(swActTime).actTime, "10:30");
    scheduleFor(0);
    EXPECT_ENTRIES(journal().actions(), entries("startTimer 1800 rebootTimer"));
    scheduleFor(0, "0.8");
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(RebootSchedule, StillCountsARebootAsScheduledWhereTheGateWasAskedToStop) {
    setText(AGENT_VAR(swActTime).actTime, "-14:00"); // no second is left at ten
    scheduleFor(0);
    EXPECT_ENTRIES(journal().actions(), entries("stopTimer rebootTimer"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(RebootSchedule, ReplacesAnOlderTimerNameByItsWholeWidth) {
    std::memset(AGENT_VAR(g_timerTypeToSwmgnt), 'z', sizeof AGENT_VAR(g_timerTypeToSwmgnt));
    setText(AGENT_VAR(swActTime).actTime, "10:30");
    scheduleFor(0);
    EXPECT_ENTRIES(journal().actions(), entries("startTimer 1800 rebootTimer"));
}

TEST_F(RebootSchedule, ActivatesAtOnceAndReboots) {
    scheduleFor(1);

    EXPECT_ENTRIES(
        journal().all(),
        entries(
            both("upgrade", "startRebootTimer", "Upgrade policy is 1,go for immediate reboot"),
            "nal_activatePassiveImage",
            both("upgrade", "startRebootTimer", "Image Activation Success... Going for Reboot!!!"),
            "system echo 0.9 > log/ota_act_success",
            gatewayReport("OTA_SW_ACTIVATION_COMPLETE", "0.9"), "sleep 10", kReboot));
}

TEST_F(RebootSchedule, LeavesTheFlagOfASuccessfulActivationAlone) {
    AGENT_VAR(reboot_flag) = 1;
    scheduleFor(1);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(RebootSchedule, TakesAnyResultButZeroForAnActivatedBank) {
    node().results["nal_activatePassiveImage"] = {-1};
    scheduleFor(1);
    EXPECT_ENTRIES(only(journal().actions(), {kReboot}), entries(kReboot));
}

TEST_F(RebootSchedule, ReportsAFailedActivationAndDropsTheSchedule) {
    node().results["nal_activatePassiveImage"] = {0};
    AGENT_VAR(reboot_flag) = 1;

    scheduleFor(1);

    EXPECT_ENTRIES(journal().all(),
                   entries(schedule("Upgrade policy is 1,go for immediate reboot"),
                           "nal_activatePassiveImage",
                           both("upgrade", "startRebootTimer",
                                "Image Activation Failed... Sending Failure Response to swmgnt!!!"),
                           gatewayReport("OTA_SW_ACTIVATION_FAILED")));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(RebootSchedule, WritesTheVersionIntoTheMarker) {
    shell().runsCommands = true;
    scheduleFor(1, "4QZ-2.0");
    EXPECT_EQ(contentOf("log/ota_act_success"), "4QZ-2.0\n");
}

TEST_F(RebootSchedule, CutsTheMarkerCommandAtSixtyThreeCharacters) {
    // "echo " and " > log/ota_act_success" leave 36 characters to the version.
    scheduleFor(1, std::string(36, 'v'));
    EXPECT_ENTRIES(only(journal().actions(), {"system echo"}),
                   entries("system echo " + std::string(36, 'v') + " > log/ota_act_success"));
    scheduleFor(1, std::string(37, 'v'));
    EXPECT_ENTRIES(only(journal().actions(), {"system echo"}),
                   entries("system echo " + std::string(37, 'v') + " > log/ota_act_succes"));
    scheduleFor(1, std::string(63, 'v'));
    EXPECT_ENTRIES(only(journal().actions(), {"system echo"}),
                   entries("system echo " + std::string(58, 'v')));
}

TEST_F(RebootSchedule, GoesOnWhateverTheCommandsReturn) {
    node().always["system"] = -1;
    scheduleFor(1);
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_activatePassiveImage", "system echo 0.9 > log/ota_act_success",
                           signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10", kReboot));
}

TEST_F(RebootSchedule, DoesNothingForAnyOtherPolicy) {
    setText(AGENT_VAR(swActTime).actTime, "10:30");
    for (const int policy : {2, 3, 4, -1, 256, 257}) {
        AGENT_VAR(reboot_flag) = 1;
        scheduleFor(policy);
        EXPECT_ENTRIES(journal().all(), Entries{});
        EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
    }
}

TEST_F(RebootSchedule, CountsTheRebootAsScheduledOnlyAfterTheTimerWasStarted) {
    setText(AGENT_VAR(swActTime).actTime, "10:30");
    Entries seen;
    noteAt(seen, {"startTimer"}, [] { return AGENT_VAR(reboot_flag); });
    scheduleFor(0);
    EXPECT_ENTRIES(seen, entries("startTimer: 0"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(RebootSchedule, DropsTheScheduleOnlyAfterTheFailedActivationWasReported) {
    node().results["nal_activatePassiveImage"] = {0};
    AGENT_VAR(reboot_flag) = 1;
    Entries seen;
    noteAt(seen, {signal("OTA_SW_ACTIVATION_FAILED")}, [] { return AGENT_VAR(reboot_flag); });
    scheduleFor(1);
    EXPECT_ENTRIES(seen, entries(signal("OTA_SW_ACTIVATION_FAILED") + ": 1"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

} // namespace
