// SPDX-License-Identifier: MIT
// What a failed attempt logs, schedules and releases, by kind of failure and by node.
#include "download_fixture.h"
#include "moments.h"

#include <cerrno>

using namespace ota::test;

namespace {

class Retry : public DownloadTest {
  protected:
    static Entries starting(int seconds) {
        return entries(said("Starting Reboot Timer, g_timerToSwmgnt = " + std::to_string(seconds) +
                            ", g_timerTypeToSwmgnt = downloadRetryTimer"),
                       (seconds != 0 ? "startTimer " + std::to_string(seconds) : "stopTimer") +
                           std::string(" downloadRetryTimer"));
    }

    static Entries stopping() {
        return entries(said("Stopping downloadRetryTimer, g_timerToSwmgnt = 0, "
                            "g_timerTypeToSwmgnt = downloadRetryTimer"),
                       "stopTimer downloadRetryTimer");
    }

    static Entries transferFailed() {
        return entries(said("Completed Image Download - curl_easy_perform"),
                       "curl_easy_getinfo CURLINFO_OS_ERRNO",
                       erred("curl_easy_perform() failed: " +
                             std::string(curl_easy_strerror(CURLE_COULDNT_CONNECT)) +
                             " errno : 111"));
    }

    static Entries answered(int code) {
        return entries(said("Completed Image Download - curl_easy_perform"),
                       "curl_easy_getinfo CURLINFO_RESPONSE_CODE",
                       said("receiving response code " + std::to_string(code)));
    }

    static Entries context(const std::string &mode, const std::string &role) {
        return said("WorkMode = " + mode + ", workRole = " + role + ", OnboardStatus = 0");
    }

    static Entries endOfFailedTransfer() {
        return entries(erred("CURL Failed during download operation"), "curl_easy_cleanup",
                       "curl_global_cleanup", "fclose ./4QZ-2.0", kMarker);
    }

    static Entries endOfAnswer() {
        return {"curl_easy_cleanup", "curl_global_cleanup", "fclose ./4QZ-2.0", kMarker};
    }

    // One more attempt, of which only this is asked: did it ask the node for its role?
    bool asksForTheRole() {
        journal().clear();
        EXPECT_EQ(download(), 1);
        return !only(journal().withoutLogs(), {"nal_getWorkMode"}).empty();
    }

    void SetUp() override {
        DownloadTest::SetUp();
        journal().watchFiles();
    }
};

TEST_F(Retry, WaitsHalfAnHourOnAGatewayAfterAFailedTransfer) {
    failTransfer(CURLE_COULDNT_CONNECT, ECONNREFUSED);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(transferFailed(), said("ota_httpDownLoadFile(): download_retry = 1"),
                           context("RGW", "Agent"),
                           said("WorkMode is RGW, workRole is Agent, download_retry is 1, so "
                                "waiting for 30min"),
                           starting(1800), endOfFailedTransfer()));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1);
    EXPECT_EQ(curl().openHandles, 0);
}

TEST_F(Retry, WaitsHalfAnHourOnAGatewayAfterABadAnswer) {
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(answered(404), said("download_retry = 1"), context("RGW", "Agent"),
                           said("WorkMode is RGW, download_retry is 1, so waiting for 30min"),
                           said("download_retry is 1, so waiting for 30min"), starting(1800),
                           endOfAnswer()));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1);
    EXPECT_EQ(curl().openHandles, 0);
}

TEST_F(Retry, WaitsTwoMinutesOnAnExtenderAfterAFailedTransfer) {
    node().workMode = "AP_Bridge";
    failTransfer(CURLE_COULDNT_CONNECT, ECONNREFUSED);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(transferFailed(), said("ota_httpDownLoadFile(): download_retry = 1"),
                           context("AP_Bridge", "Agent"),
                           said("WorkMode is AP_Bridge, workRole is Agent, download_retry is 1, "
                                "so waiting for 2min"),
                           starting(120), endOfFailedTransfer()));
}

TEST_F(Retry, WaitsTwoMinutesOnAnExtenderAfterABadAnswer) {
    node().workMode = "AP_Bridge";
    answer(500);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(answered(500), said("download_retry = 1"), context("AP_Bridge", "Agent"),
                           said("WorkMode is AP_Bridge, download_retry is 1, so waiting for 2min"),
                           said("download_retry is 1, so waiting for 2 min"), starting(120),
                           endOfAnswer()));
}

TEST_F(Retry, TakesAControllingBridgeForAGatewayAndPrintsItsOwnMode) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    node().onboardingStatus = 3;
    failTransfer(CURLE_COULDNT_CONNECT, ECONNREFUSED);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(
        behind(afterTransfer(), trace(kDownload, "ota_httpDownLoadFile(): download_retry = 1")),
        entries(said("WorkMode = AP_Bridge, workRole = Controller, OnboardStatus = 3"),
                said("WorkMode is AP_Bridge, workRole is Controller, download_retry is 1, so "
                     "waiting for 30min"),
                starting(1800), endOfFailedTransfer()));
}

TEST_F(Retry, AsksForAStopOnANodeThatIsNeither) {
    node().workMode = "Router";
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(behind(afterTransfer(), trace(kDownload, "download_retry = 1")),
                   entries(context("Router", "Agent"), starting(0), endOfAnswer()));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1);
}

TEST_F(Retry, AsksForAStopAfterAFailedTransferOnANodeThatIsNeither) {
    node().workMode = "Router";
    failTransfer(CURLE_COULDNT_CONNECT, ECONNREFUSED);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(
        behind(afterTransfer(), trace(kDownload, "ota_httpDownLoadFile(): download_retry = 1")),
        entries(context("Router", "Agent"), starting(0), endOfFailedTransfer()));
}

TEST_F(Retry, LeavesPendingSecondsAsTheyAreOnANodeThatIsNeither) {
    node().workMode = "Router";
    AGENT_VAR(g_timerToSwmgnt) = 77;
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(timers(), entries("startTimer 77 downloadRetryTimer"));
}

TEST_F(Retry, ComparesWhatWasFoundAfterAFailedDeviceQuery) {
    node().workMode = "AP_Bridge";
    node().always["nal_getRootOnBoardingStatus"] = -1;
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(behind(afterTransfer(), trace(kDownload, "download_retry = 1")),
                   entries(said("WorkMode is AP_Bridge, download_retry is 1, so waiting for 2min"),
                           said("download_retry is 1, so waiting for 2 min"), starting(120),
                           endOfAnswer()));
}

TEST_F(Retry, TakesANodeWithoutAModeForNeither) {
    node().always["nal_getWorkMode"] = -1;
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(timers(), entries("stopTimer downloadRetryTimer"));
}

TEST_F(Retry, ReplacesALongerTimerNameWhole) {
    setText(AGENT_VAR(g_timerTypeToSwmgnt), "aTimerOfSomebodyElseWithAName31");
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(timers(), entries("startTimer 1800 downloadRetryTimer"));
}

TEST_F(Retry, WaitsTwoMinutesFromTheSecondFailureOnWithoutAskingTheNode) {
    failBefore(1);
    failTransfer(CURLE_COULDNT_CONNECT, ECONNREFUSED);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(transferFailed(), said("ota_httpDownLoadFile(): download_retry = 2"),
                           starting(120), endOfFailedTransfer()));
    answer(503);
    journal().clear();
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(afterTransfer(), entries(answered(503), said("download_retry = 3"),
                                            starting(120), endOfAnswer()));
    EXPECT_FALSE(asksForTheRole());
}

TEST_F(Retry, WaitsTwoMinutesFromTheSecondFailureOnAlsoOnANodeThatIsNeither) {
    node().workMode = "Router";
    failBefore(1);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(timers(), entries("startTimer 120 downloadRetryTimer"));
}

TEST_F(Retry, GivesUpOnTheSeventhFailedTransferAndReleasesEverything) {
    failBefore(6);
    failTransfer(CURLE_COULDNT_CONNECT, ECONNREFUSED);
    EXPECT_EQ(download(), -1);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(transferFailed(), stopping(), said("Download Rety Exceeded..."),
                           signal("OTA_RECONNECT_BUE"), "fclose ./4QZ-2.0", "curl_easy_cleanup",
                           "curl_global_cleanup"));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
    EXPECT_EQ(curl().openHandles, 0);
}

TEST_F(Retry, GivesUpOnTheSeventhBadAnswerAndLeavesTheHandle) {
    failBefore(6);
    answer(404);
    EXPECT_EQ(download(), -1);
    EXPECT_ENTRIES(
        afterTransfer(),
        entries(answered(404), stopping(),
                said("Invalid Response Code(404) Received... Going for Download Rety..."),
                signal("OTA_RECONNECT_BUE"), "fclose ./4QZ-2.0"));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
    EXPECT_EQ(curl().openHandles, 1);
    EXPECT_TRUE(files().open.empty());
}

TEST_F(Retry, StopsNoTimerOnGivingUpWhereNoneRuns) {
    failBefore(6);
    AGENT_VAR(g_dwldRetryTimer) = 0;
    EXPECT_EQ(download(), -1);
    EXPECT_ENTRIES(timers(), Entries{});
    EXPECT_ENTRIES(only(journal().actions(), {"evbus"}), entries(signal("OTA_RECONNECT_BUE")));
}

TEST_F(Retry, StoresTheWordItGivesUpWith) {
    failBefore(6);
    EXPECT_EQ(download(), -1);
    EXPECT_STREQ(AGENT_VAR(swUpgStat).status, "OTA_RECONNECT_BUE");
}

TEST_F(Retry, BeginsANewSeriesAfterGivingUp) {
    failBefore(6);
    EXPECT_EQ(download(), -1);
    EXPECT_TRUE(asksForTheRole());
    EXPECT_ENTRIES(timers(), entries("startTimer 1800 downloadRetryTimer"));
}

TEST_F(Retry, BeginsANewSeriesAfterASuccess) {
    failBefore(3);
    answer(200);
    EXPECT_EQ(download(), 0);
    answer(404);
    EXPECT_TRUE(asksForTheRole());
}

TEST_F(Retry, PrintsAControllingBridgesOwnModeAfterABadAnswerToo) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    answer(404);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(behind(afterTransfer(), trace(kDownload, "download_retry = 1")),
                   entries(context("AP_Bridge", "Controller"),
                           said("WorkMode is AP_Bridge, download_retry is 1, so waiting for 30min"),
                           said("download_retry is 1, so waiting for 30min"), starting(1800),
                           endOfAnswer()));
}

TEST_F(Retry, ChangesItsFlagBeforeItAsksForTheTimer) {
    Entries seen;
    noteAt(seen, {"startTimer", "stopTimer"}, [] { return AGENT_VAR(g_dwldRetryTimer); });
    answer(404);
    EXPECT_EQ(download(), 1);
    failBefore(5);
    EXPECT_EQ(download(), -1);
    EXPECT_EQ(seen.front(), "startTimer: 1");
    EXPECT_EQ(seen.back(), "stopTimer: 0");
}

TEST_F(Retry, TestsItsFlagAsNotZeroWhereItGivesUp) {
    failBefore(6);
    AGENT_VAR(g_dwldRetryTimer) = 2;
    EXPECT_EQ(download(), -1);
    EXPECT_ENTRIES(timers(), entries("stopTimer downloadRetryTimer"));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
}

} // namespace
