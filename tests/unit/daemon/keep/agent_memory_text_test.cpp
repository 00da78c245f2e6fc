// SPDX-License-Identifier: MIT
// The few values of the agent's memory that a start looks at or mends.
#include "host/daemon/keep/agent_memory_text.h"

#include "tests/unit/daemon/keep/kept_requests.h"

#include <gtest/gtest.h>

namespace {

using otad::AgentMemoryText;

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

} // namespace
