// SPDX-License-Identifier: MIT
// The few values of the agent's memory that a start looks at or mends.
#include "service/state/agent_memory_text.h"

#include "tests/unit/service/state/kept_requests.h"

#include <gtest/gtest.h>

namespace {

using service::AgentMemoryText;

TEST(AgentMemory, PrintsWhatItRead) {
    const std::string memory = memoryWith({{"reboot_flag", 1}}, "01:00", "02:00");
    EXPECT_EQ(AgentMemoryText(memory).print(), memory);
}

TEST(AgentMemory, IsEmptyWhereTheTextIsNoObject) {
    for (const char *const text : {"", "[]", "{\"a\":1} trailing", "{", "7"}) {
        EXPECT_TRUE(AgentMemoryText(text).empty()) << text;
        EXPECT_EQ(AgentMemoryText(text).print(), "") << text;
    }
}

TEST(AgentMemory, TellsANumberOrWhatStandsForAMissingOne) {
    const AgentMemoryText memory(memoryWith({{"reboot_flag", 1}}));
    EXPECT_EQ(memory.number(AgentMemoryText::kRebootScheduled, 7), 1);
    EXPECT_EQ(memory.number("swInfo", 7), 7) << "an object is no number";
    EXPECT_EQ(memory.number("unknown", 7), 7);
    EXPECT_EQ(AgentMemoryText("").number(AgentMemoryText::kRebootScheduled, 7), 7);
}

TEST(AgentMemory, ChangesANumberThatIsThereAndAddsNone) {
    AgentMemoryText memory(memoryWith({{"reboot_flag", 1}}));
    memory.setNumber(AgentMemoryText::kRebootScheduled, 0);
    memory.setNumber("unknown", 5);
    EXPECT_EQ(memory.print(), memoryWith());
}

TEST(AgentMemory, ForgetsOffersAndKeepsTheActivationTime) {
    AgentMemoryText memory(R"({"swInfo":{"nxtMSVersion":"4QZ-2","policy":1},)"
                           R"("swActTime":{"actTime":"02:00"},)"
                           R"("otaLibConfig":{"OffloadDownloadActivate":1},"g_rebootTime":"02:00",)"
                           R"("g_dwldStartTimer":1,"g_dwldRetryTimer":1,"g_mobileTriggerExpire":1,)"
                           R"("g_mAppRebootTrig":1,"g_ISDeferedUpgrade":1,)"
                           R"("g_firstTimeObardingWindowGivenPSNWBuildSame":0,"reboot_flag":1})");
    memory.forgetTheOffer();
    EXPECT_EQ(memory.print(),
              R"({"swInfo":{"nxtMSVersion":"","policy":0},)"
              R"("swActTime":{"actTime":"02:00"},)"
              R"("otaLibConfig":{"OffloadDownloadActivate":0},"g_rebootTime":"02:00",)"
              R"("g_dwldStartTimer":0,"g_dwldRetryTimer":0,"g_mobileTriggerExpire":0,)"
              R"("g_mAppRebootTrig":1,"g_ISDeferedUpgrade":0,)"
              R"("g_firstTimeObardingWindowGivenPSNWBuildSame":1,"reboot_flag":0})");
}

} // namespace
