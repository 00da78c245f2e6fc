// SPDX-License-Identifier: MIT
// From an extender over a real broker to the listener at the root.
#include "root_fixture.h"

#include <mosquitto.h>
#include <poll.h>

namespace {

using service::FromExtender;

class RootLink : public RootTest {
  protected:
    RootLink() : broker_(folder()) { broker_.start(); }

    // The gateway, once it listens.
    std::unique_ptr<Node> listener() const {
        auto node = gateway(config(broker_.port()));
        EXPECT_TRUE(turn({node.get()}, [&] { return node->link->connected(); }))
            << node->link->problem();
        return node;
    }

    // Past the checks and habits of a link, as a stranger with a certificate would.
    void publishRaw(const std::string &topic, const std::string &text, bool retain = false) const {
        mosquitto *const client = mosquitto_new("stranger", true, nullptr);
        mosquitto_tls_set(client, (folder() / "ca.pem").c_str(), nullptr, nullptr, nullptr,
                          nullptr);
        ASSERT_EQ(mosquitto_connect(client, "127.0.0.1", broker_.port(), 10), MOSQ_ERR_SUCCESS);
        bool sent = false;
        mosquitto_user_data_set(client, &sent);
        mosquitto_publish_callback_set(
            client, [](mosquitto *, void *flag, int) { *static_cast<bool *>(flag) = true; });
        ASSERT_EQ(mosquitto_publish(client, nullptr, topic.c_str(), static_cast<int>(text.size()),
                                    text.data(), 1, retain),
                  MOSQ_ERR_SUCCESS);
        while (!sent) {
            ASSERT_EQ(mosquitto_loop(client, 100, 1), MOSQ_ERR_SUCCESS);
        }
        mosquitto_disconnect(client);
        mosquitto_destroy(client);
    }

    Broker broker_;
};

TEST_F(RootLink, CarriesAReportToTheListener) {
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].kind, Kind::report);
    EXPECT_EQ(gateway->taken[0].mac, kExtender);
    EXPECT_EQ(gateway->taken[0].refusal, "");
    EXPECT_NE(gateway->taken[0].text.find("OTA_SW_COMMIT_COMPLETE"), std::string::npos);
    EXPECT_EQ(gateway->connections, std::vector<bool>{true});
    EXPECT_EQ(gateway->link->problem(), "");
}

TEST_F(RootLink, CarriesTheFileServerToTheListener) {
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_EQ(answerTo(*extender, Kind::fileServer, fileServerInfo()), "");
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].kind, Kind::fileServer);
    EXPECT_EQ(gateway->taken[0].mac, kExtender);
    EXPECT_EQ(gateway->taken[0].text, fileServerInfo());
}

TEST_F(RootLink, TakesNothingUntilTheLoopTurns) {
    const auto extender = this->extender(config(broker_.port()));
    extender->publish(Kind::report, report());
    EXPECT_TRUE(extender->answers.empty());
    EXPECT_TRUE(extender->link->waiting());
    ASSERT_TRUE(turn({extender.get()}, [&] { return !extender->answers.empty(); }));
    EXPECT_FALSE(extender->link->waiting());
}

TEST_F(RootLink, SaysThatNobodyListens) {
    const auto extender = this->extender(config(broker_.port()));
    const std::string answer = answerTo(*extender, Kind::report, report());
    EXPECT_NE(answer.find("nobody listens to \"otaSwAgent/02:00:00:00:00:0A/report\""),
              std::string::npos)
        << answer;
    base::Result<void> published;
    extender->link->publish(Kind::fileServer, fileServerInfo(),
                            [&](const base::Result<void> &result) { published = result; });
    ASSERT_TRUE(turn({extender.get()}, [&] { return !published; }));
    EXPECT_STREQ(base::rowOf(published.error().reason).name, "no-gateway");
}

TEST_F(RootLink, GivesTheReasonWhereAReportFailsTheCheck) {
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_EQ(answerTo(*extender, Kind::report, report("02:00:00:00:00:0B")), "");
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].text, "");
    EXPECT_NE(gateway->taken[0].refusal.find("under the topic of"), std::string::npos)
        << gateway->taken[0].refusal;
}

TEST_F(RootLink, DoesNotTakeATopicWithoutAMac) {
    const auto gateway = listener();
    publishRaw("otaSwAgent/$(reboot)/report", report());
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].mac, "");
    EXPECT_EQ(gateway->taken[0].text, "");
    EXPECT_EQ(gateway->taken[0].refusal, "topic: \"$(reboot)\" is not a MAC address");
}

TEST_F(RootLink, DoesNotTakeWhatTheBrokerRetained) {
    publishRaw("otaSwAgent/02:00:00:00:00:0A/report", report(), true);
    const auto gateway = listener();
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].text, "");
    EXPECT_NE(gateway->taken[0].refusal.find("retained"), std::string::npos);
}

TEST_F(RootLink, NeitherSendsNorTakesMoreThan64KiB) {
    const std::string tooLong(service::kLongestRootMessage + 1, ' ');
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()));
    EXPECT_EQ(answerTo(*extender, Kind::report, tooLong),
              "the status report of 65537 bytes is not sent to the root: at most 65536 bytes");
    publishRaw("otaSwAgent/02:00:00:00:00:0A/report", tooLong);
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].text, "");
    EXPECT_NE(gateway->taken[0].refusal.find("65537"), std::string::npos);
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
}

TEST_F(RootLink, LetsTheBrokerSendNoLargerPacketThanItTakes) {
    const auto gateway = listener();
    publishRaw("otaSwAgent/02:00:00:00:00:0A/report",
               std::string(service::kLargestRootPacket + 1, ' '));
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->taken[0].refusal, "") << "the large one came through";
}

TEST_F(RootLink, LosesNothingWhileTheLoopOfTheListenerIsBusy) {
    constexpr std::size_t kMany = 300;
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()), times(milliseconds(15000)));
    for (std::size_t i = 0; i < kMany; ++i) {
        extender->publish(Kind::report, report());
    }
    ASSERT_TRUE(turn({extender.get()}, [&] { return extender->answers.size() == kMany; }));
    EXPECT_TRUE(gateway->taken.empty());
    ASSERT_TRUE(turn({gateway.get()}, [&] { return gateway->taken.size() == kMany; }));
    EXPECT_EQ(extender->answers, std::vector<std::string>(kMany));
}

TEST_F(RootLink, LosesNothingWhereTheListenerEndsInTheMiddle) {
    constexpr std::size_t kMany = 300;
    auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()), times(milliseconds(15000)));
    for (std::size_t i = 0; i < kMany; ++i) {
        extender->publish(Kind::report, report());
    }
    ASSERT_TRUE(turn({extender.get()}, [&] { return extender->answers.size() == kMany; }));
    pollfd came{gateway->link->fd(), POLLIN, 0};
    ASSERT_EQ(poll(&came, 1, 60000), 1);
    gateway->link->end();
    turnFor({gateway.get()}, milliseconds(1));
    const std::size_t before = gateway->taken.size();
    EXPECT_GT(before, 0U);
    gateway = listener();
    EXPECT_TRUE(turn({gateway.get()}, [&] { return before + gateway->taken.size() >= kMany; }));
    turnFor({gateway.get()}, milliseconds(100));
    EXPECT_EQ(before + gateway->taken.size(), kMany);
}

TEST_F(RootLink, AnswersInTheOrderOfTheCallsAndMayBeUsedInsideAnAnswer) {
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()));
    std::vector<std::string> order;
    extender->link->publish(Kind::report, report(), [&](const base::Result<void> &) {
        order.emplace_back("first");
        extender->link->publish(Kind::fileServer, fileServerInfo(),
                                [&](const base::Result<void> &) { order.emplace_back("third"); });
    });
    extender->link->publish(Kind::report, report(),
                            [&](const base::Result<void> &) { order.emplace_back("second"); });
    ASSERT_TRUE(turn({extender.get()}, [&] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "third"}));
}

TEST_F(RootLink, TellsTheBrokerWhenItGoesAndSendsNothingAfterwards) {
    const auto gateway = listener();
    auto extender = this->extender(config(broker_.port()));
    ASSERT_TRUE(turn({extender.get()}, [&] { return extender->link->connected(); }));
    broker_.freeze();
    EXPECT_LT(timeOf([&] { extender.reset(); }), milliseconds(20000));
    broker_.goOn();
    turnFor({gateway.get()}, milliseconds(200));
    EXPECT_TRUE(gateway->taken.empty());
}

} // namespace
