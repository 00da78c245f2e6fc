// SPDX-License-Identifier: MIT
// A broker that is down, frozen, silent, restarted or not to be found costs its time and no more.
#include "hanging_look_up.h"
#include "root_fixture.h"

#include <chrono>
#include <filesystem>
#include <iterator>

namespace {

constexpr std::chrono::milliseconds kLimit{600};
// What a busy machine may add; less than any of the waits that it must not be.
constexpr std::chrono::milliseconds kSlack{20'000};
constexpr std::chrono::milliseconds kLongWait{60'000};

class LostBroker : public RootTest {
  protected:
    LostBroker() : broker_(folder()) {}

    // Publishes and checks that the failure comes at the limit, neither earlier nor later.
    std::string failureWithin(Node &node, milliseconds limit) const {
        std::string answer;
        const milliseconds took = timeOf([&] { answer = answerTo(node, Kind::report, report()); });
        EXPECT_GE(took, limit - milliseconds(5));
        EXPECT_LE(took, limit + kSlack);
        EXPECT_NE(answer, "");
        EXPECT_EQ(answer.find('\n'), std::string::npos);
        return answer;
    }
    std::unique_ptr<Node> listener(service::RootTimes times = RootTest::times()) const {
        auto node = gateway(config(broker_.port()), times);
        EXPECT_TRUE(turn({node.get()}, [&] { return node->link->connected(); }))
            << node->link->problem();
        return node;
    }

    Broker broker_;
};

int threadsOfThisProcess() {
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

TEST_F(LostBroker, ThatIsDownIsAFailureWithItsReason) {
    const auto extender = this->extender(config(broker_.port()));
    EXPECT_EQ(failureWithin(*extender, kLimit),
              "the status report did not reach the root in time: the root's broker 127.0.0.1:" +
                  std::to_string(broker_.port()) +
                  ": the connection is refused or closed; check [root] broker, that the broker "
                  "runs and that this node reaches it");
    EXPECT_FALSE(extender->link->connected());
    EXPECT_NE(extender->link->problem(), "");
}

TEST_F(LostBroker, CostsLessThanFiveSecondsWithTheTimesOfANode) {
    const auto extender = this->extender(config(broker_.port()), service::RootTimes{});
    std::string answer;
    const milliseconds took = timeOf([&] { answer = answerTo(*extender, Kind::report, report()); });
    EXPECT_NE(answer, "");
    EXPECT_LT(service::RootTimes{}.publish, milliseconds(5000));
    EXPECT_GE(took, service::RootTimes{}.publish);
    EXPECT_LT(took, service::RootTimes{}.publish + kSlack);
}

TEST_F(LostBroker, NeverGetsLaterWhatWasGivenUp) {
    const auto extender = this->extender(config(broker_.port()));
    failureWithin(*extender, kLimit);
    broker_.start();
    const auto gateway = listener();
    ASSERT_TRUE(turn({extender.get()}, [&] { return extender->link->connected(); }));
    turnFor({extender.get(), gateway.get()}, milliseconds(200));
    EXPECT_TRUE(gateway->taken.empty());
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(extender->answers.size(), 2U);
}

TEST_F(LostBroker, ThatComesUpInTimeGetsTheMessage) {
    broker_.start();
    const auto gateway = listener();
    broker_.stop();
    // By then the next attempt is further away than the message may wait, but for the message.
    service::RootTimes growing = times(kSlack);
    growing.shortestDelay = milliseconds(100);
    growing.longestDelay = kLongWait;
    const auto extender = this->extender(config(broker_.port()), growing);
    turnFor({extender.get()}, milliseconds(1600));
    extender->publish(Kind::report, report());
    turnFor({extender.get()}, milliseconds(50));
    EXPECT_TRUE(extender->answers.empty());
    broker_.start();
    ASSERT_TRUE(turn({extender.get()}, [&] { return !extender->answers.empty(); }));
    EXPECT_EQ(extender->answers[0], "");
    EXPECT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
}

TEST_F(LostBroker, KeepsForTheListenerWhatCameWhileItWasAway) {
    broker_.start();
    service::RootTimes slow = times();
    slow.shortestDelay = slow.longestDelay = milliseconds(6000);
    const auto gateway = listener(slow);
    broker_.stop();
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->link->connected(); }));
    broker_.start();
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
    turnFor({gateway.get()}, milliseconds(50));
    ASSERT_FALSE(gateway->link->connected()) << "it was back before the message was sent";
    ASSERT_TRUE(turn({gateway.get()}, [&] { return gateway->link->connected(); }));
    ASSERT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
    EXPECT_EQ(gateway->connections, (std::vector<bool>{true, false, true}));
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
    ASSERT_TRUE(turn({gateway.get()}, [&] { return gateway->taken.size() == 2; }));
}

TEST_F(LostBroker, KeepsItAlsoForAListenerThatWasStartedAgain) {
    broker_.start();
    listener().reset();
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_EQ(answerTo(*extender, Kind::report, report()), "");
    const auto gateway = listener();
    EXPECT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
}

TEST_F(LostBroker, ThatFreezesIsAFailureAndAnswersOnce) {
    broker_.start();
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()));
    ASSERT_TRUE(turn({extender.get()}, [&] { return extender->link->connected(); }));
    broker_.freeze();
    const std::string failure = failureWithin(*extender, kLimit);
    EXPECT_NE(failure.find("confirm"), std::string::npos) << failure;
    // Who does not confirm may be gone for good: the connection is not waited for any longer.
    EXPECT_TRUE(turn({extender.get()}, [&] { return !extender->link->connected(); }));
    broker_.goOn();
    turnFor({extender.get()}, milliseconds(300));
    EXPECT_EQ(extender->answers.size(), 1U);
    EXPECT_EQ(answerTo(*extender, Kind::report, report()), "");
}

TEST_F(LostBroker, GetsAgainWhatItDidNotConfirmBeforeItWasLost) {
    broker_.start();
    const auto gateway = listener();
    const auto extender = this->extender(config(broker_.port()), times(milliseconds(15000)));
    ASSERT_TRUE(turn({extender.get()}, [&] { return extender->link->connected(); }));
    turnFor({gateway.get()}, milliseconds(1200)); // until the broker has stored the session
    broker_.freeze();
    extender->publish(Kind::report, report());
    turnFor({extender.get()}, milliseconds(200));
    broker_.end();
    broker_.start();
    ASSERT_TRUE(turn({extender.get()}, [&] { return !extender->answers.empty(); }));
    EXPECT_EQ(extender->answers[0], "");
    EXPECT_TRUE(turn({gateway.get()}, [&] { return !gateway->taken.empty(); }));
}

TEST_F(LostBroker, BehindADeadRoadCostsTheTimeAndNoMore) {
    const SilentServer server(true);
    auto extender = this->extender(config(server.port()));
    const std::string failure = failureWithin(*extender, kLimit);
    EXPECT_NE(failure.find("did not answer"), std::string::npos) << failure;
    EXPECT_LT(timeOf([&] { extender.reset(); }), kSlack);
}

TEST_F(LostBroker, ThatNeverSpeaksCostsTheTimeAndNoMore) {
    const SilentServer server(false);
    auto extender = this->extender(config(server.port()));
    failureWithin(*extender, kLimit);
    EXPECT_LT(timeOf([&] { extender.reset(); }), kSlack);
}

TEST_F(LostBroker, ThatNeverSpeaksIsTriedAgain) {
    const SilentServer server(false);
    service::RootTimes impatient = times();
    impatient.connect = milliseconds(100);
    const auto extender = this->extender(config(server.port()), impatient);
    ASSERT_TRUE(turn({extender.get()}, [&] { return !extender->link->problem().empty(); }));
    EXPECT_NE(extender->link->problem().find("no answer"), std::string::npos)
        << extender->link->problem();
}

TEST_F(LostBroker, WhoseNameIsNotFoundInTimeHoldsNobodyUp) {
    const int threadsBefore = threadsOfThisProcess();
    service::RootConfig nowhere = config(broker_.port());
    nowhere.host = kHangingName;
    auto extender = this->extender(nowhere);
    ASSERT_TRUE(turn({extender.get()}, [] { return hangingLookUps() == 1; }));
    const std::string failure = failureWithin(*extender, kLimit);
    EXPECT_NE(failure.find(kHangingName), std::string::npos) << failure;
    EXPECT_LT(timeOf([&] { extender.reset(); }), kSlack);
    EXPECT_EQ(hangingLookUps(), 1);
    endHangingLookUps();
    EXPECT_TRUE(turn({}, [&] { return threadsOfThisProcess() == threadsBefore; }))
        << "the thread is still there after its look-up";
}

} // namespace
