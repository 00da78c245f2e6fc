// SPDX-License-Identifier: MIT
// The fixture of every unit test, and in one include all of the harness.
//
// A test opens the shipped library and calls its exports by name; everything that the library
// calls in turn (platform, libc, libcurl) is a stand-in of the test executable and writes one
// ordered journal while an agent call runs:
//
//     TEST_F(TimerControl, StartsTheRequestedTimer) {
//         AGENT_VAR(g_timerToSwmgnt) = 120;
//         setText(AGENT_VAR(g_timerTypeToSwmgnt), "downloadRetryTimer");
//         EXPECT_EQ(AGENT(otaSwAgentStartStopTimer)(), 0);
//         EXPECT_ENTRIES(journal().actions(), entries("startTimer 120 downloadRetryTimer"));
//     }
//
// AgentTest        opens the library, an empty folder as working directory, and initOTAlib run;
//                  StartedAgentTest has run the library's `main` too. Both then empty the journal.
// Views            journal().all(), withoutLogs(), actions(), logs(), platformLog(), debugLog(),
//                  of({"function", ...}) (those operations' log lines, and all actions).
// Expected         notice(unit, function, body), error(...), trace(function, body), both(...),
//                  bothErrors(...), signal(word), put together by entries(a, b, ...).
// Entries          "system rm -rf ./tmpImage", "sleep 10", "startTimer 1800 rebootTimer",
//                  "evbusSendSignal velmo.otaSwAgent updateUpgradeStatus <status word>",
//                  "nwa_sendNotificationToRoot <signal name>", "flock <path> LOCK_SH",
//                  "popen <command> r", "curl_easy_setopt CURLOPT_URL <value>", "nal_getWorkMode".
//                  After journal().watchFiles() also "fopen <path> <mode>", "fclose <path>",
//                  "stat <path>", "opendir <path>", "closedir", "fflush all".
// Beside it        announcements.h (offers, triggers, expiries as calls) and shared_lines.h (whole
//                  journals of operations that many others call); journal().onEntry looks at
//                  the state in the middle of a call.
// Steering         node() answers and results, agentClock() time, files() faults, shell() commands,
//                  curl() the transfer, failAllocation() memory. untilLeft() catches exit.
//
// The form of every log line (prefix, function, line, stamp) is checked as it is written. No
// command runs unless shell().runsCommands is set, and then only inside the test's folder.
#pragma once

#include "agent_library.h"
#include "clock.h"
#include "entries.h"
#include "files.h"
#include "journal.h"
#include "log_checks.h"
#include "memory_faults.h"
#include "node.h"
#include "shell.h"
#include "transfer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace ota::test {

// Fills a text field, zeros behind the text.
template <std::size_t kWidth>
void setText(char (&field)[kWidth], const std::string &text) {
    ASSERT_LT(text.size(), kWidth);
    std::memset(field, 0, kWidth);
    text.copy(field, kWidth - 1);
}

class AgentTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // Builds the path table anew, after the node's directories were changed.
    void readPaths();
    // The host's start: configuration manager up, initOTAlib, main. Empties the journal.
    void startUp();

  private:
    std::string mFolder;
};

class StartedAgentTest : public AgentTest {
  protected:
    void SetUp() override;
};

} // namespace ota::test
