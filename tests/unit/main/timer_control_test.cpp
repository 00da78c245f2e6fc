// SPDX-License-Identifier: MIT
// The gate through which every timer is started and stopped.
#include "agent_test.h"

#include <algorithm>

using namespace ota::test;

namespace {

constexpr char kGate[] = "otaSwAgentStartStopTimer";

class TimerGate : public AgentTest {
  protected:
    static int request(int seconds, const std::string &name) {
        AGENT_VAR(g_timerToSwmgnt) = seconds;
        setText(AGENT_VAR(g_timerTypeToSwmgnt), name);
        return AGENT(otaSwAgentStartStopTimer)();
    }

    static Entries received(int seconds, const std::string &name) {
        const std::string body = "Received g_timerToSwmgnt = " + std::to_string(seconds) +
                                 ", g_timerTypeToSwmgnt = " + name + "\n";
        return both("main", kGate, body,
                    body + " strlen(g_timerTypeToSwmgnt)=" + std::to_string(name.size()));
    }

    static void expectCleared() {
        EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
        EXPECT_TRUE(std::ranges::all_of(AGENT_VAR(g_timerTypeToSwmgnt),
                                        [](char byte) { return byte == 0; }));
    }
};

TEST_F(TimerGate, StartsTheTimerOfARequestWithSeconds) {
    EXPECT_EQ(request(120, "downloadRetryTimer"), 0);
    EXPECT_ENTRIES(journal().all(), entries(received(120, "downloadRetryTimer"),
                                            both("main", kGate, "This call is for startTimer...\n"),
                                            "startTimer 120 downloadRetryTimer"));
    expectCleared();
}

TEST_F(TimerGate, StopsTheTimerOfARequestWithoutSeconds) {
    EXPECT_EQ(request(0, "rebootTimer"), 0);
    EXPECT_ENTRIES(journal().all(), entries(received(0, "rebootTimer"),
                                            both("main", kGate, "This call is for stopTimer...\n"),
                                            "stopTimer rebootTimer"));
    expectCleared();
}

TEST_F(TimerGate, StartsATimerThatIsAlreadyOverdue) {
    EXPECT_EQ(request(-5, "rebootTimer"), 0);
    EXPECT_ENTRIES(journal().actions(), entries("startTimer -5 rebootTimer"));
}

TEST_F(TimerGate, DoesNothingWithoutAName) {
    EXPECT_EQ(request(0, ""), 0);
    EXPECT_ENTRIES(journal().all(), received(0, ""));
    expectCleared();
}

TEST_F(TimerGate, ClearsSecondsThatCameWithoutAName) {
    EXPECT_EQ(request(1800, ""), 0);
    EXPECT_ENTRIES(journal().all(), received(1800, ""));
    expectCleared();
}

TEST_F(TimerGate, DoesNothingForASecondCallWithNothingSet) {
    request(120, "downloadRetryTimer");
    journal().clear();
    EXPECT_EQ(AGENT(otaSwAgentStartStopTimer)(), 0);
    EXPECT_ENTRIES(journal().all(), received(0, ""));
}

TEST_F(TimerGate, ClearsAllOfTheName) {
    std::memset(AGENT_VAR(g_timerTypeToSwmgnt), 'x', 31);
    AGENT_VAR(g_timerToSwmgnt) = 7;
    AGENT(otaSwAgentStartStopTimer)();
    EXPECT_ENTRIES(journal().actions(), entries("startTimer 7 " + std::string(31, 'x')));
    expectCleared();
}

TEST_F(TimerGate, GoesOnWhereTheTimerServiceFails) {
    node().always["startTimer"] = -1;
    EXPECT_EQ(request(120, "downloadRetryTimer"), 0);
    expectCleared();
}

} // namespace
