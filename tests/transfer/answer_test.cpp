// SPDX-License-Identifier: MIT
// What the agent makes of answers that are no image, and of connections that break.
#include "transfer_fixture.h"

#include <cerrno>

using namespace ota::test;

namespace {

struct CountedCode {
    int code;
    bool counted;
};

class Connection : public RealTransferTest {
  protected:
    void SetUp() override {
        RealTransferTest::SetUp();
        startAnswering();
    }
};

class Answer : public Connection, public testing::WithParamInterface<CountedCode> {};

TEST_P(Answer, IsCountedByItsCode) {
    const auto [code, counted] = GetParam();
    const std::string number = std::to_string(code);
    EXPECT_EQ(downloadPath("/status/" + number), counted ? 1 : 0);
    EXPECT_ENTRIES(outcome(), counted ? entries(kFirstRetry) : Entries{});
    EXPECT_EQ(fetched(), "answer " + number + "\n");
    EXPECT_EQ(progressFile(), std::string("100\n") + (counted ? kFailed : ""));
    EXPECT_EQ(requests().size(), 1U) << "no redirection is followed";
}

INSTANTIATE_TEST_SUITE_P(Rows, Answer,
                         testing::Values(CountedCode{200, false}, CountedCode{206, true},
                                         CountedCode{301, true}, CountedCode{404, true},
                                         CountedCode{500, true}, CountedCode{503, true},
                                         CountedCode{504, false}),
                         [](const auto &row) { return "Code" + std::to_string(row.param.code); });

TEST_F(Connection, DeliversEveryByte) {
    EXPECT_EQ(downloadPath("/image"), 0);
    EXPECT_EQ(fetched(), image());
    EXPECT_EQ(progressFile(), "100\n");
    EXPECT_ENTRIES(outcome(), Entries{});
}

TEST_F(Connection, BreaksInTheMiddleOfTheBody) {
    EXPECT_EQ(downloadPath("/short"), 1);
    EXPECT_EQ(fetched(), image().substr(0, image().size() / 2));
    EXPECT_TRUE(transferError().starts_with(curl_easy_strerror(CURLE_PARTIAL_FILE)))
        << transferError();
    EXPECT_EQ(progressFile(), std::string("49\n") + kFailed);
    EXPECT_ENTRIES(outcome(), entries(kFirstRetry));
}

TEST_F(Connection, StallsUntilTheTransfersLimit) {
    curl().realTimeLimit = 1;
    EXPECT_EQ(downloadPath("/stall"), 1);
    EXPECT_ENTRIES(only(journal().actions(), {"curl_easy_setopt CURLOPT_TIMEOUT"}),
                   entries("curl_easy_setopt CURLOPT_TIMEOUT 600"));
    EXPECT_EQ(fetched(), image().substr(0, image().size() / 2));
    EXPECT_TRUE(transferError().starts_with(curl_easy_strerror(CURLE_OPERATION_TIMEDOUT)))
        << transferError();
    EXPECT_EQ(progressFile(), std::string("49\n") + kFailed);
    EXPECT_ENTRIES(outcome(), entries(kFirstRetry));
}

TEST_F(Connection, IsRefused) {
    stopServer();
    EXPECT_EQ(downloadUrl("http://127.0.0.1:" + std::to_string(freePort()) + "/image"), 1);
    EXPECT_EQ(transferError(), std::string(curl_easy_strerror(CURLE_COULDNT_CONNECT)) +
                                   " errno : " + std::to_string(ECONNREFUSED));
    EXPECT_EQ(fetched(), "");
    EXPECT_EQ(progressFile(), kFailed);
    EXPECT_ENTRIES(outcome(), entries(kFirstRetry));
}

TEST_F(Connection, FailsSevenTimesInARowAndIsGivenUp) {
    EXPECT_EQ(downloadPath("/status/404"), 1);
    EXPECT_ENTRIES(outcome(), entries(kFirstRetry));
    for (int retry = 1; retry <= 5; ++retry) {
        EXPECT_EQ(downloadPath(retry % 2 == 0 ? "/short" : "/status/500"), 1);
        EXPECT_ENTRIES(outcome(), entries(kLaterRetry));
    }
    EXPECT_EQ(downloadPath("/status/503"), -1);
    EXPECT_ENTRIES(outcome(), entries("stopTimer downloadRetryTimer", signal("OTA_RECONNECT_BUE")));
    EXPECT_EQ(curl().realHandles.size(), 1U);

    EXPECT_EQ(downloadPath("/image"), 0) << "the handle left behind does no harm";
    EXPECT_EQ(fetched(), image());
}

TEST_F(Connection, WaitsOnThroughACodeThatIsNotCounted) {
    EXPECT_EQ(downloadPath("/status/404"), 1);
    EXPECT_EQ(downloadPath("/status/504"), 1);
    EXPECT_ENTRIES(outcome(), Entries{});
    EXPECT_EQ(downloadPath("/image"), 0);
}

TEST_F(Connection, LeavesFromTheAgentsLocalPorts) {
    EXPECT_EQ(downloadPath("/image"), 0);
    ASSERT_EQ(requests().size(), 1U);
    EXPECT_GE(requests().front().clientPort, 47791);
    EXPECT_LE(requests().front().clientPort, 47806);
}

TEST_F(Connection, HasTheSegmentSizeThatTheHostAskedFor) {
    AGENT_VAR(g_httpInfo).mss = 700;
    EXPECT_EQ(downloadPath("/image"), 0);
    EXPECT_EQ(fetched(), image());
    ASSERT_EQ(requests().size(), 1U);
    EXPECT_LE(requests().front().segmentSize, 700);
    EXPECT_GT(requests().front().segmentSize, 600) << "less the room for TCP options";
}

} // namespace
