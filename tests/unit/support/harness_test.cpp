// SPDX-License-Identifier: MIT
// The harness on a single call: what it writes down, and what it checks by itself.
#include "agent_test.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

using namespace ota::test;

namespace {

using Harness = AgentTest;

TEST_F(Harness, WritesOneOrderedJournalOfBothLogsAndEveryCall) {
    AGENT_VAR(g_timerToSwmgnt) = 120;
    setText(AGENT_VAR(g_timerTypeToSwmgnt), "downloadRetryTimer");

    EXPECT_EQ(AGENT(otaSwAgentStartStopTimer)(), 0);

    const std::string request =
        "Received g_timerToSwmgnt = 120, g_timerTypeToSwmgnt = downloadRetryTimer\n";
    EXPECT_ENTRIES(journal().all(), entries(both("main", "otaSwAgentStartStopTimer", request,
                                                 request + " strlen(g_timerTypeToSwmgnt)=18"),
                                            both("main", "otaSwAgentStartStopTimer",
                                                 "This call is for startTimer...\n"),
                                            "startTimer 120 downloadRetryTimer"));
}

TEST_F(Harness, ShowsWhereSequencesDiffer) {
    const testing::AssertionResult result = sameEntries({"a", "c"}, {"a", "b"});
    EXPECT_FALSE(result);
    EXPECT_STREQ(result.message(),
                 "the journal differs (- expected, + written):\n    a\n  - b\n  + c\n");
}

TEST_F(Harness, StartsEveryTestWithAFreshLibrary) {
    AGENT_VAR(reboot_flag) = 1;
    TearDown();
    SetUp();
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_F(Harness, CatchesAnAgentThatEndsTheProcess) {
    EXPECT_EQ(untilLeft([] { AGENT(otaswmgnt_sendSignal)("another", nullptr, 0); }), 1);
    EXPECT_ENTRIES(journal().actions(), entries("exit 1"));
    EXPECT_FALSE(agentIsActive());
}

TEST_F(Harness, TellsAnAgentThatReturns) {
    EXPECT_EQ(untilLeft([] { AGENT(get_uptime)(); }), std::nullopt);
}

TEST_F(Harness, FailsTheAgentsOwnAllocations) {
    OTA_SKIP_UNLESS_ALLOCATIONS_FAIL(Owner::kAgent);
    node().workMode = "AP_Bridge";
    failAllocation(Owner::kAgent, 1);
    AGENT(otaswmgnt_sendSignal)("upgrade_status", nullptr, 0);
    EXPECT_TRUE(allocationFailed());
    EXPECT_TRUE(node().notifications.empty());
}

TEST_F(Harness, FailsJsonAllocationsOneAfterTheOther) {
    int failures = 0;
    withEveryAllocationFailing(
        Owner::kJson, [&](bool failed) { failures += failed ? 1 : 0; },
        [] {
            const ActivationTime record{};
            cJSON_Delete(AGENT(encode_ActivationTime_to_json)(&record));
        });
    EXPECT_GT(failures, 4);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(Harness, NeverRunsACommandThatLeavesTheFolder) {
    shell().runsCommands = true;
    node().always["system"] = 42;
    {
        const Recording recording;
        EXPECT_EQ(system("true /sbin/reboot"), 42);
        EXPECT_EQ(system("echo x > ../outside"), 42);
        EXPECT_EQ(system("exit 3") >> 8, 3);
    }
    EXPECT_FALSE(exists("../outside"));
    EXPECT_ENTRIES(journal().all(), entries("system true /sbin/reboot",
                                            "system echo x > ../outside", "system exit 3"));
}

TEST_F(Harness, PlaysATransferThroughTheCallbacksOfTheAgent) {
    setText(AGENT_VAR(swInfo).fileServerURL, "http://files/image");
    setText(AGENT_VAR(swInfo).nxtMSVersion, "4QZ.2.0");
    curl().perform = [](Transfer &transfer) {
        EXPECT_EQ(transfer.options["URL"], "http://files/image");
        EXPECT_EQ(transfer.options["WRITEFUNCTION"], "dlFile_writeFunc");
        EXPECT_EQ(transfer.options["WRITEDATA"], "stream of ./4QZ.2.0");
        EXPECT_EQ(transfer.options["SOCKOPTDATA"], "g_httpInfo");
        EXPECT_EQ(transfer.write("image"), 5U);
        EXPECT_EQ(transfer.progress(100, 50), 0);
        return CURLE_OK;
    };
    EXPECT_EQ(AGENT(ota_httpDownLoadFile)(&AGENT_VAR(g_httpInfo)), 0);
    EXPECT_EQ(contentOf("4QZ.2.0"), "image");
    EXPECT_ENTRIES(only(journal().actions(), {"system echo", "curl_easy_perform"}),
                   entries("curl_easy_perform", "system echo 50 > ./ota_dwld_prog"));
    EXPECT_EQ(curl().openHandles, 0);
}

TEST_F(Harness, TakesNoTimeToSleep) {
    const Recording recording;
    const std::time_t before = agentClock().now();
    EXPECT_EQ(sleep(600), 0U);
    EXPECT_EQ(time(nullptr), before + 600);
}

} // namespace
