// SPDX-License-Identifier: MIT
// A new activation time arrives: it is stored, and a running reboot timer moves to it.
#include "agent_test.h"
#include "announcements.h"
#include "moments.h"
#include "shared_lines.h"

using namespace ota::test;

namespace {

constexpr char kUnit[] = "swmgmtitf";
constexpr char kHandler[] = "otaSwmgnt_process_activation_time";

class ActivationTimeSignal : public AgentTest {
  protected:
    static Entries handler(const std::string &body) { return both(kUnit, kHandler, body); }

    // The lines of the intake behind its trace; their labels are those of another record.
    static Entries fields(const std::string &model, const std::string &mac, const std::string &sn,
                          const std::string &time) {
        const char *const intake = "ota_recv_newActivationTime";
        return entries(both(kUnit, intake, "UpdateActivationTimeSignal Data:"),
                       both(kUnit, intake, "ota_recv_newimagenfo:swInfo.model = " + model),
                       both(kUnit, intake, "ota_recv_newimagenfo:swInfo.mac = " + mac),
                       both(kUnit, intake, "ota_recv_newimagenfo:swInfo.sn = " + sn),
                       trace(intake, "ota_recv_newimagenfo:swInfo.activationTime = " + time),
                       both(kUnit, intake,
                            "model " + model + " mac " + mac + " sn " + sn + " actTime " + time));
    }

    static Entries taken(const std::string &time) {
        return entries(
            trace(
                kHandler,
                "Inside otaSwmgnt_process_activation_time to process the new ONT Actication Time"),
            trace("ota_recv_newActivationTime", "Inside ota_recv_newActivationTime"),
            fields("Gate-1", kNodeMac, "SN0001", time), handler("swActTime.actTime = " + time));
    }

    static Entries stored(const std::string &time, int rebootFlag) {
        const std::string body = "Received new rebootTimer with g_rebootTime = " + time;
        return both(kUnit, kHandler, body, body + " reboot_flag = " + std::to_string(rebootFlag));
    }

    static Entries moved(const std::string &time, int delay) {
        const std::string seconds = std::to_string(delay);
        return entries(
            handler("Stopping rebootTimer, g_timerToSwmgnt = 0, g_timerTypeToSwmgnt = rebootTimer"),
            timerGate(0, "rebootTimer"),
            handler("Starting new rebootTimer with g_rebootTime = " + time), secondsComputed(delay),
            handler("rebootTime is = " + seconds),
            handler("Starting Reboot Timer, g_timerToSwmgnt = " + seconds +
                    ", g_timerTypeToSwmgnt = rebootTimer"),
            timerGate(delay, "rebootTimer"));
    }

    static Entries timers() { return only(journal().actions(), {"startTimer", "stopTimer"}); }
};

TEST_F(ActivationTimeSignal, MovesARunningRebootTimer) {
    AGENT_VAR(reboot_flag) = 1;

    moveActivationTo("10:30");

    EXPECT_ENTRIES(
        journal().all(),
        entries(
            taken("10:30"),
            both("swmgmtitf", "otaSwmgnt_process_activation_time",
                 "Received new rebootTimer with g_rebootTime = 10:30",
                 "Received new rebootTimer with g_rebootTime = 10:30 reboot_flag = 1"),
            both("swmgmtitf", "otaSwmgnt_process_activation_time",
                 "Stopping rebootTimer, g_timerToSwmgnt = 0, g_timerTypeToSwmgnt = rebootTimer"),
            timerGate(0, "rebootTimer"),
            both("swmgmtitf", "otaSwmgnt_process_activation_time",
                 "Starting new rebootTimer with g_rebootTime = 10:30"),
            secondsComputed(1800),
            both("swmgmtitf", "otaSwmgnt_process_activation_time", "rebootTime is = 1800"),
            both("swmgmtitf", "otaSwmgnt_process_activation_time",
                 "Starting Reboot Timer, g_timerToSwmgnt = 1800, g_timerTypeToSwmgnt = "
                 "rebootTimer"),
            timerGate(1800, "rebootTimer")));
    EXPECT_ENTRIES(timers(), entries("stopTimer rebootTimer", "startTimer 1800 rebootTimer"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
    EXPECT_EQ(AGENT_VAR(g_mAppRebootTrig), 1);
    EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
    EXPECT_STREQ(AGENT_VAR(g_timerTypeToSwmgnt), "");
}

TEST_F(ActivationTimeSignal, IsOnlyStoredWhereNoRebootIsScheduled) {
    moveActivationTo("10:30");

    EXPECT_ENTRIES(journal().all(), entries(taken("10:30"), stored("10:30", 0)));
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "10:30");
    EXPECT_EQ(AGENT_VAR(g_mAppRebootTrig), 1);
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(ActivationTimeSignal, MovesTheTimerOnlyWhereTheFlagIsExactlyOne) {
    for (const int flag : {2, -1, 257}) {
        AGENT_VAR(reboot_flag) = flag;
        journal().clear();
        moveActivationTo("10:30");
        EXPECT_ENTRIES(journal().all(), entries(taken("10:30"), stored("10:30", flag)));
        EXPECT_EQ(AGENT_VAR(reboot_flag), flag);
    }
}

TEST_F(ActivationTimeSignal, WithAnEmptyTimeOnlyMarksThatItCame) {
    setText(AGENT_VAR(g_rebootTime), "03:30");
    AGENT_VAR(reboot_flag) = 1;

    moveActivationTo("");

    EXPECT_ENTRIES(journal().all(), taken(""));
    EXPECT_EQ(AGENT_VAR(g_mAppRebootTrig), 1);
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "03:30");
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(ActivationTimeSignal, ThatDoesNotParseIsANoticeAndActsOnThePreviousTime) {
    moveActivationTo("10:30");
    AGENT_VAR(reboot_flag) = 1;
    AGENT_VAR(g_mAppRebootTrig) = 0;
    setText(AGENT_VAR(g_rebootTime), "23:59");
    journal().clear();

    AGENT(otaSwmgnt_process_activation_time)("half past ten", nullptr);

    Entries expected = taken("10:30");
    const Entries fail =
        both("swmgmtitf", "ota_recv_newActivationTime", "parse_ActivationTime_from_json fail");
    expected.insert(expected.begin() + 2, fail.begin(), fail.end());
    append(expected, stored("10:30", 1));
    append(expected, moved("10:30", 1800));
    EXPECT_ENTRIES(journal().all(), expected);
    EXPECT_EQ(AGENT_VAR(g_mAppRebootTrig), 1);
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "10:30");
}

TEST_F(ActivationTimeSignal, ThatDoesNotParseMarksAFreshAgentToo) {
    AGENT(otaSwmgnt_process_activation_time)(nullptr, nullptr);
    EXPECT_EQ(AGENT_VAR(g_mAppRebootTrig), 1);
    EXPECT_ENTRIES(journal().platformLog(),
                   only(entries(both(kUnit, "ota_recv_newActivationTime",
                                     "parse_ActivationTime_from_json fail"),
                                fields("", "", "", ""), handler("swActTime.actTime = ")),
                        {"notice"}));
}

TEST_F(ActivationTimeSignal, WithoutATimeActsOnThePreviousOne) {
    moveActivationTo("10:30");
    AGENT_VAR(reboot_flag) = 1;
    journal().clear();
    AGENT(otaSwmgnt_process_activation_time)(R"({"sn":"SN7","actTime":1030})", nullptr);
    EXPECT_ENTRIES(timers(), entries("stopTimer rebootTimer", "startTimer 1800 rebootTimer"));
    EXPECT_STREQ(AGENT_VAR(swActTime).sn, "SN7");
    EXPECT_STREQ(AGENT_VAR(swActTime).model, "Gate-1");
}

TEST_F(ActivationTimeSignal, IsTakenWhicheverDeviceItNames) {
    AGENT(otaSwmgnt_process_activation_time)
    (R"({"model":"x","mac":"11:11:11:11:11:11","sn":"y","actTime":"05:00"})", nullptr);
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "05:00");
}

TEST_F(ActivationTimeSignal, KeepsThirtyOneCharactersOfATime) {
    const std::string time = "10:30:" + std::string(40, '0');
    moveActivationTo(time);
    EXPECT_EQ(AGENT_VAR(swActTime).actTime, time.substr(0, 31));
    EXPECT_EQ(AGENT_VAR(g_rebootTime), time.substr(0, 31));
}

TEST_F(ActivationTimeSignal, ReplacesTheStoredTimeButItsLastByte) {
    std::memset(AGENT_VAR(g_rebootTime), 'x', sizeof AGENT_VAR(g_rebootTime));
    moveActivationTo("4:00");
    EXPECT_EQ(std::string(AGENT_VAR(g_rebootTime), sizeof AGENT_VAR(g_rebootTime)),
              "4:00" + std::string(27, '\0') + "x");
}

TEST_F(ActivationTimeSignal, PutsATimeThatIsNowADayAhead) {
    AGENT_VAR(reboot_flag) = 1;
    moveActivationTo("10:00:00");
    EXPECT_ENTRIES(timers(), entries("stopTimer rebootTimer", "startTimer 86400 rebootTimer"));
}

TEST_F(ActivationTimeSignal, PassesANegativeDelayOn) {
    AGENT_VAR(reboot_flag) = 1;
    moveActivationTo("-30:00");
    EXPECT_ENTRIES(timers(), entries("stopTimer rebootTimer", "startTimer -57600 rebootTimer"));
}

TEST_F(ActivationTimeSignal, WithADelayOfZeroAsksTheGateForAStop) {
    AGENT_VAR(reboot_flag) = 1;
    moveActivationTo("-14:00");
    EXPECT_ENTRIES(timers(), entries("stopTimer rebootTimer", "stopTimer rebootTimer"));
    EXPECT_EQ(AGENT_VAR(reboot_flag), 1);
}

TEST_F(ActivationTimeSignal, ReplacesAnOlderTimerNameByItsWholeWidth) {
    AGENT_VAR(reboot_flag) = 1;
    std::memset(AGENT_VAR(g_timerTypeToSwmgnt), 'z', sizeof AGENT_VAR(g_timerTypeToSwmgnt));
    moveActivationTo("10:30");
    EXPECT_ENTRIES(timers(), entries("stopTimer rebootTimer", "startTimer 1800 rebootTimer"));
}

TEST_F(ActivationTimeSignal, TouchesNeitherTheImageNorTheWindow) {
    hold({.policy = 1});
    AGENT_VAR(g_dwldStartTimer) = 1;
    moveActivationTo("10:30");
    EXPECT_EQ(AGENT_VAR(swInfo).policy, 1);
    EXPECT_STREQ(AGENT_VAR(swInfo).model, "Gate-1");
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
    EXPECT_ENTRIES(journal().actions(), Entries{});
}

TEST_F(ActivationTimeSignal, IsMarkedBetweenItsIntakeAndItsFirstNotice) {
    const std::string taken = trace("ota_recv_newActivationTime", "model");
    const std::string told = notice(kUnit, kHandler, "swActTime.actTime");
    Entries seen;
    noteAt(seen, {taken, told}, [] { return AGENT_VAR(g_mAppRebootTrig); });
    moveActivationTo("");
    EXPECT_ENTRIES(seen, entries(taken + ": 0", told + ": 1"));
}

} // namespace
