// SPDX-License-Identifier: MIT
// The count of failures: what adds to it, what ends it, and the result that depends on it.
#include "download_fixture.h"

using namespace ota::test;

namespace {

// A response code: whether it is counted, and what a fresh download with it returns.
struct CodeRow {
    long code;
    bool counted;
};

class ResponseCode : public DownloadTest, public testing::WithParamInterface<CodeRow> {
  protected:
    Entries downloadRetryLines() const {
        return only(journal().platformLog(),
                    {"notice swmgmtitf ota_httpDownLoadFile: download_retry ="});
    }
};

TEST_P(ResponseCode, IsJudgedWhileNoFailureIsPending) {
    const auto [code, counted] = GetParam();
    answer(code);
    EXPECT_EQ(download(), counted ? 1 : 0);
    EXPECT_EQ(timers().size(), counted ? 1U : 0U);
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), counted ? 1 : 0);
    EXPECT_ENTRIES(only(journal().actions(), {"system echo"}),
                   counted ? entries(kMarker) : Entries{});
    EXPECT_ENTRIES(
        only(journal().platformLog(),
             {"notice swmgmtitf ota_httpDownLoadFile: receiving", "error"}),
        entries(notice("swmgmtitf", kDownload, "receiving response code " + std::to_string(code))));
}

TEST_P(ResponseCode, IsJudgedWhileAFailureIsPending) {
    const auto [code, counted] = GetParam();
    failBefore(2);
    answer(code);
    EXPECT_EQ(download(), code == 200 ? 0 : 1);
    EXPECT_ENTRIES(timers(), counted ? entries("startTimer 120 downloadRetryTimer") : Entries{});
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 1) << "only giving up clears it here";
    EXPECT_ENTRIES(only(journal().actions(), {"system echo"}),
                   code == 200 ? Entries{} : entries(kMarker));
    EXPECT_ENTRIES(downloadRetryLines(),
                   counted ? entries(notice("swmgmtitf", kDownload, "download_retry = 3"))
                           : Entries{});
}

INSTANTIATE_TEST_SUITE_P(Rows, ResponseCode,
                         testing::Values(CodeRow{0, false}, CodeRow{100, false},
                                         CodeRow{109, false}, CodeRow{110, true},
                                         CodeRow{199, true}, CodeRow{200, false},
                                         CodeRow{201, true}, CodeRow{206, true}, CodeRow{301, true},
                                         CodeRow{404, true}, CodeRow{500, true}, CodeRow{503, true},
                                         CodeRow{504, false}, CodeRow{599, false}),
                         [](const auto &row) { return "Code" + std::to_string(row.param.code); });

using RetryCount = DownloadTest;

TEST_F(RetryCount, LastsForSixRetriesAndThenStartsAnew) {
    answer(404);
    for (int series = 0; series < 2; ++series) {
        for (int attempt = 1; attempt <= 6; ++attempt) {
            journal().clear();
            EXPECT_EQ(download(), 1) << "attempt " << attempt;
            const int delay = attempt == 1 ? 1800 : 120;
            EXPECT_ENTRIES(
                only(journal().actions(), {"startTimer", "stopTimer", "system echo", "evbus"}),
                entries("startTimer " + std::to_string(delay) + " downloadRetryTimer", kMarker));
        }
        journal().clear();
        EXPECT_EQ(download(), -1);
        EXPECT_ENTRIES(
            only(journal().actions(), {"startTimer", "stopTimer", "system echo", "evbus"}),
            entries("stopTimer downloadRetryTimer", signal("OTA_RECONNECT_BUE")));
    }
}

TEST_F(RetryCount, AddsUpFailuresOfBothKinds) {
    for (int pair = 0; pair < 3; ++pair) {
        failTransfer(CURLE_OPERATION_TIMEDOUT);
        EXPECT_EQ(download(), 1);
        answer(404);
        EXPECT_EQ(download(), 1);
    }
    failTransfer(CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(download(), -1);
}

TEST_F(RetryCount, IsNotTouchedByACodeThatIsNotCounted) {
    failBefore(6);
    for (int attempt = 0; attempt < 10; ++attempt) {
        answer(attempt % 2 == 0 ? 504 : 109);
        EXPECT_EQ(download(), 1);
    }
    answer(404);
    EXPECT_EQ(download(), -1);
}

TEST_F(RetryCount, GoesOnForAnotherImage) {
    failBefore(6);
    offer("http://files.example/other.img", "4QZ-3.0");
    EXPECT_EQ(download(), -1);
}

TEST_F(RetryCount, IsBackAtNothingAfterASuccessThatFollowsSixFailures) {
    failBefore(6);
    answer(200);
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(timers(), Entries{});
    answer(504);
    EXPECT_EQ(download(), 0) << "nothing is pending any more";
}

TEST_F(RetryCount, IsNotTouchedByAFailedResponseCodeQuery) {
    failResponseCodeQuery();
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(afterTransfer(),
                   entries(said("Completed Image Download - curl_easy_perform"),
                           "curl_easy_getinfo CURLINFO_RESPONSE_CODE",
                           erred("curl_easy_getinfo() error in receiving response code 0"),
                           erred("CURL Failed during download operation"), "curl_easy_cleanup",
                           "curl_global_cleanup"));
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
}

TEST_F(RetryCount, StaysPendingThroughAFailedResponseCodeQuery) {
    failBefore(1);
    failResponseCodeQuery();
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(timers(), Entries{});
    EXPECT_EQ(journal().actions().back(), kMarker);
}

TEST_F(RetryCount, PrintsNoSystemErrorWhereLibcurlTellsNone) {
    failTransfer(CURLE_OPERATION_TIMEDOUT, 5);
    curl().infoResult = CURLE_UNKNOWN_OPTION;
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"error swmgmtitf ota_httpDownLoadFile: curl_easy_perform"}),
        entries(error("swmgmtitf", kDownload,
                      "curl_easy_perform() failed: " +
                          std::string(curl_easy_strerror(CURLE_OPERATION_TIMEDOUT)) +
                          " errno : 0")));
}

TEST_F(RetryCount, DoesNotAskForAResponseCodeAfterAFailedTransfer) {
    failTransfer(CURLE_RECV_ERROR);
    curl().responseCode = 200;
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(only(journal().actions(), {"curl_easy_getinfo"}),
                   entries("curl_easy_getinfo CURLINFO_OS_ERRNO"));
}

TEST_F(RetryCount, ForgetsTheRoleOfTheLastSeries) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    failBefore(1);
    answer(200);
    EXPECT_EQ(download(), 0);
    node().always["nal_getWorkRole"] = -1;
    answer(404);
    journal().clear();
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(timers(), entries("startTimer 120 downloadRetryTimer"));
}

} // namespace
