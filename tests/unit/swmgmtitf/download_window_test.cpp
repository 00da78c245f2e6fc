// SPDX-License-Identifier: MIT
// The window in which the mobile app may trigger the download, and the file that tells it so.
#include "agent_test.h"
#include "moments.h"
#include "orchestration_lines.h"

#include <filesystem>
#include <stdio_ext.h>

using namespace ota::test;

namespace {

constexpr char kAgentData[] = "./ota_agent_data";
constexpr char kRemoval[] = "system rm -f ./ota_agent_data";
constexpr char kStart[] = "startTimer 1800 downloadStartTimer";
constexpr char kLock[] = "flock stream of ./ota_agent_data LOCK_SH";
constexpr char kUnlock[] = "flock stream of ./ota_agent_data LOCK_UN";

class DownloadWindow : public AgentTest {
  protected:
    // What the stream of the agent-data file holds back, or -1 where it is not open.
    static int heldBack() {
        for (const auto &[stream, path] : files().open) {
            if (path == kAgentData) {
                return static_cast<int>(__fpending(stream));
            }
        }
        return -1;
    }

    static Entries windowOpened() {
        return entries(newImage("Starting downloadStartTimer, g_timerToSwmgnt = 1800, "
                                "g_timerTypeToSwmgnt = downloadStartTimer"),
                       timerGate(1800, "downloadStartTimer"));
    }
};

TEST_F(DownloadWindow, OpensOnAGatewayInItsFirstPoll) {
    const Offer offer;
    journal().watchFiles();

    announce(offer, kFirstPoll);

    EXPECT_ENTRIES(
        journal().all(),
        entries(requestTaken(offer, kFirstPoll), contextAsked(offer, kFirstPoll),
                "nal_getCurSwVersion", kRemoval, "fopen ./ota_agent_data w", kLock, kUnlock,
                both("swmgmtitf", "otaSwmgnt_process_newimage_info",
                     "Starting downloadStartTimer, g_timerToSwmgnt = 1800, g_timerTypeToSwmgnt = "
                     "downloadStartTimer"),
                timerGate(1800, "downloadStartTimer"), "fclose ./ota_agent_data"));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 1);
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);
    EXPECT_EQ(AGENT_VAR(g_timerToSwmgnt), 0);
    EXPECT_STREQ(AGENT_VAR(g_timerTypeToSwmgnt), "");
}

TEST_F(DownloadWindow, TellsTheRunningAndTheOfferedVersion) {
    node().currentVersion = "A";
    announce({.version = "B"}, kFirstPoll);
    EXPECT_EQ(contentOf(kAgentData), "1\nA\nB");
}

TEST_F(DownloadWindow, WritesTheFileBetweenTheLocksAndToDiskBehindTheTimer) {
    const std::string content = "1\n1.0\n4QZ-2.0";
    Entries seen;
    journal().onEntry = [&](const std::string &text) {
        if (text == kLock || text == kUnlock || text == kStart) {
            seen.push_back(text + ": " + std::to_string(heldBack()) + " held back, " +
                           std::to_string(contentOf(kAgentData).size()) + " on disk");
        }
    };

    announce({}, kFirstPoll);

    const std::string whole = std::to_string(content.size());
    EXPECT_ENTRIES(seen, entries(std::string(kLock) + ": 0 held back, 0 on disk",
                                 std::string(kUnlock) + ": " + whole + " held back, 0 on disk",
                                 std::string(kStart) + ": " + whole + " held back, 0 on disk"));
    EXPECT_EQ(contentOf(kAgentData), content);
    EXPECT_EQ(heldBack(), -1) << "the file is still open";
}

TEST_F(DownloadWindow, DoesNotDependOnTheLock) {
    node().always["flock"] = -1;
    announce({}, kFirstPoll);
    EXPECT_ENTRIES(journal().actions(), entries(kRemoval, kLock, kUnlock, kStart));
    EXPECT_EQ(contentOf(kAgentData), "1\n1.0\n4QZ-2.0");
}

TEST_F(DownloadWindow, ReplacesAnOlderFileWhole) {
    writeFile(kAgentData, "1\nan older version\nand one that was offered long ago");
    announce({}, kFirstPoll);
    EXPECT_EQ(contentOf(kAgentData), "1\n1.0\n4QZ-2.0");
}

TEST_F(DownloadWindow, WritesVersionsAsTheyAre) {
    node().currentVersion = "%s%n";
    announce({.version = "%d 100%"}, kFirstPoll);
    EXPECT_EQ(contentOf(kAgentData), "1\n%s%n\n%d 100%");
}

TEST_F(DownloadWindow, CutsTheRemovalAtThirtyCharactersButNotTheFile) {
    node().tmpDirectory = "tentenchar"; // ten characters, fifteen more of the file's
    std::filesystem::create_directory(node().tmpDirectory);
    readPaths();

    announce({}, kFirstPoll);

    EXPECT_ENTRIES(only(journal().actions(), {"system"}),
                   entries("system rm -f tentenchar/ota_agent_dat"));
    EXPECT_EQ(contentOf("tentenchar/ota_agent_data"), "1\n1.0\n4QZ-2.0");
}

TEST_F(DownloadWindow, RemovesAPathOfTwentyFourCharactersWhole) {
    node().tmpDirectory = "ninechars";
    std::filesystem::create_directory(node().tmpDirectory);
    readPaths();
    announce({}, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"system"}),
                   entries("system rm -f ninechars/ota_agent_data"));
}

TEST_F(DownloadWindow, GoesOnWithoutTheRunningVersion) {
    node().results["nal_getCurSwVersion"] = {0, -1}; // the decision's query, then the window's
    const Offer offer;

    announce(offer, kFirstPoll);

    EXPECT_ENTRIES(journal().all(),
                   entries(requestTaken(offer, kFirstPoll), contextAsked(offer, kFirstPoll),
                           "nal_getCurSwVersion",
                           bothErrors("swmgmtitf", "otaSwmgnt_process_newimage_info",
                                      "nal_get_current_version failed"),
                           kRemoval, kLock, kUnlock, windowOpened()));
    EXPECT_EQ(contentOf(kAgentData), "1\n\n4QZ-2.0");
}

TEST_F(DownloadWindow, StaysShutWhereTheFileCannotBeMade) {
    files().failOpen[kAgentData] = EACCES;
    const Offer offer;
    journal().watchFiles();

    announce(offer, kFirstPoll);

    EXPECT_ENTRIES(
        journal().all(),
        entries(requestTaken(offer, kFirstPoll), contextAsked(offer, kFirstPoll),
                "nal_getCurSwVersion", kRemoval, "fopen ./ota_agent_data w",
                bothErrors("swmgmtitf", "otaSwmgnt_process_newimage_info", "Failed to open file")));
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0);
}

TEST_F(DownloadWindow, OpensForALaterAnnouncementOnceTheFileCanBeMade) {
    files().failOpen[kAgentData] = ENOSPC;
    announce({}, kFirstPoll);
    files().failOpen.clear();
    journal().clear();
    announce({}, kFirstPoll);
    EXPECT_ENTRIES(journal().actions(), entries(kRemoval, kLock, kUnlock, kStart));
}

TEST_F(DownloadWindow, ComesBeforeTheOffload) {
    announce({}, {1, 0, 1});
    EXPECT_ENTRIES(journal().actions(), entries(kRemoval, kLock, kUnlock, kStart));
}

TEST_F(DownloadWindow, OpensOnABridgeThatActsAsController) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    announce({}, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer"}), entries(kStart));
}

TEST_F(DownloadWindow, LooksAtTheAnnouncedOnboardingAndNotAtTheNodes) {
    node().onboardingStatus = 1;
    announce({}, kFirstPoll);
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer"}), entries(kStart));
}

TEST_F(DownloadWindow, IsForTheFirstPollBeforeOnboardingOnly) {
    for (const OtaLibConfig &config :
         {OtaLibConfig{1, 0, 0}, OtaLibConfig{1, 0, 2}, OtaLibConfig{1, 0, -1},
          OtaLibConfig{1, 1, 1}, OtaLibConfig{1, -1, 1}}) {
        journal().clear();
        const Offer offer;
        announce(offer, config);
        EXPECT_ENTRIES(journal().all(),
                       entries(requestTaken(offer, config), contextAsked(offer, config),
                               handedOver(offer, "")));
    }
}

TEST_F(DownloadWindow, IsForGatewaysOnly) {
    for (const char *mode : {"AP_Bridge", "rgw", "Repeater", ""}) {
        node().workMode = mode;
        journal().clear();
        const Offer offer;
        announce(offer, {1, 0, 1});
        EXPECT_ENTRIES(journal().all(),
                       entries(requestTaken(offer, {1, 0, 1}), contextAsked(offer, {1, 0, 1}),
                               handedOver(offer, "")));
    }
}

TEST_F(DownloadWindow, RefusesTheNextAnnouncement) {
    announce({}, kFirstPoll);
    journal().clear();
    announce({.version = "4QZ-3.0"}, kFirstPoll);
    EXPECT_ENTRIES(journal().actions(), Entries{});
    EXPECT_EQ(contentOf(kAgentData), "1\n1.0\n4QZ-2.0");
}

TEST_F(DownloadWindow, RaisesItsFlagBeforeItStartsTheTimer) {
    Entries seen;
    noteAt(seen, {kUnlock, kStart}, [] { return AGENT_VAR(g_dwldStartTimer); });
    announce({}, kFirstPoll);
    EXPECT_ENTRIES(seen, entries(std::string(kUnlock) + ": 0", std::string(kStart) + ": 1"));
}

TEST_F(DownloadWindow, DoesNotTakeBackThatAnEarlierOneRanOut) {
    announce({}, kFirstPoll);
    downloadStartTimerExpires();
    announce({}, kFirstPoll);
    EXPECT_EQ(AGENT_VAR(g_mobileTriggerExpire), 1);
    journal().clear();
    mobileTrigger();
    EXPECT_ENTRIES(journal().actions(), entries("system rm /tmp/ota_agent_data"));
}

TEST_F(DownloadWindow, ForgetsTheRunningVersionOfAnEarlierOne) {
    announce({}, kFirstPoll);
    AGENT_VAR(g_dwldStartTimer) = 0;
    node().results["nal_getCurSwVersion"] = {0, -1};
    announce({}, kFirstPoll);
    EXPECT_EQ(contentOf(kAgentData), "1\n\n4QZ-2.0");
}

TEST_F(DownloadWindow, EndsAVersionThatThePlatformLeftOpen) {
    node().currentVersion = std::string(64, 'c');
    announce({}, kFirstPoll);
    EXPECT_EQ(contentOf(kAgentData), "1\n" + std::string(63, 'c') + "\n4QZ-2.0");
}

} // namespace
