// SPDX-License-Identifier: MIT
// The daemon on a bus of its own: from the call of a client to the signals that follow.
#include "daemon_fixture.h"

#include "bus/client.h"
#include "bus/private_bus.h"

#include <algorithm>
#include <csignal>
#include <unistd.h>

namespace service::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class OnTheBus : public DaemonTest {
  protected:
    OnTheBus() {
        options_.bus = bus_.address();
        options_.busPatience = std::chrono::minutes(1);
    }

    void connect() {
        ASSERT_TRUE(bus_.start());
        client_ = std::make_unique<Client>(loop_.get(), bus_.address());
        const ::ReplyRef listening = client_->listen();
        ASSERT_TRUE(turnUntil([&] { return listening->arrived; }));
        startUp();
        ::ReplyRef owner = client_->ownerOf(kBusName);
        ASSERT_TRUE(turnUntil([&] {
            const bool known = owner->arrived && owner->error.empty();
            if (owner->arrived && !known) {
                owner = client_->ownerOf(kBusName);
            }
            return known;
        }));
    }

    ::ReplyRef offerOver(const std::string &descriptor) {
        return client_->call("OfferImage", "syii", descriptor.c_str(), 0, 0, 0);
    }

    bool heard(const std::string &member, const std::string &content) const {
        return std::any_of(client_->heard.begin(), client_->heard.end(), [&](const Heard &one) {
            return one.member == member && one.content.find(content) != std::string::npos;
        });
    }

    PrivateBus bus_;
    std::unique_ptr<Client> client_;
};

TEST_F(OnTheBus, takes_an_offer_and_tells_its_status_and_its_end) {
    host_.on("new-image", {report("OTA_CRC_CHECK_FAILED")});
    connect();
    const ::ReplyRef reply = offerOver(descriptorOf(0, kNew));
    ASSERT_TRUE(turnUntil([&] { return reply->arrived; }));
    EXPECT_EQ(reply->error, "") << reply->content;
    EXPECT_EQ(reply->content, "1");
    EXPECT_TRUE(turnUntil([&] { return heard("requestFinished", "1 51 \"checksumFailed\""); }));
    EXPECT_TRUE(heard("updateUpgradeStatus", "OTA_CRC_CHECK_FAILED"));
    EXPECT_TRUE(heard("historyAdded", "accepted"));
    EXPECT_TRUE(turnUntil([&] { return host_.heard().back() == "ack 0"; }));
}

TEST_F(OnTheBus, takes_what_a_gateway_hands_over) {
    host_.on("new-image", {handOver()});
    connect();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(codesOf(ticket), std::vector{base::rowOf(base::Outcome::handedOver).code});
    EXPECT_EQ(host_.heard().back(), "ack 0");
}

TEST_F(OnTheBus, refuses_with_the_error_of_the_outcome) {
    connect();
    const ::ReplyRef reply = offerOver("[]");
    ASSERT_TRUE(turnUntil([&] { return reply->arrived; }));
    EXPECT_EQ(reply->error, "velmo.otaSwAgent.Error.DescriptorNotOneObject");
}

TEST_F(OnTheBus, works_without_it_and_comes_back_to_it) {
    connect();
    bus_.kill();
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    turnWhileBusy();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.heard().back(), "ack -1") << "the agent learns that nobody heard it";
}

TEST_F(OnTheBus, starts_the_agent_once_somebody_can_hear_it) {
    host_.on("start-up", {report("NO_OTA_SW_UPGRADE")});
    start();
    turnWhileBusy();
    EXPECT_EQ(host_.count("start-up"), 0U) << "who hears it?";
    ASSERT_TRUE(bus_.start());
    ASSERT_TRUE(turnUntil([&] { return hasStarted(); }));
    EXPECT_THAT(host_.heard(), Contains("ack 0"));
    EXPECT_THAT(told("bus-missing"), IsEmpty());
    bus_.kill();
    ASSERT_TRUE(bus_.start());
    ASSERT_TRUE(turnUntil([&] { return explained("bus").empty(); }));
    EXPECT_EQ(told("host-started").size(), 1U);
}

TEST_F(OnTheBus, starts_the_agent_without_it_after_a_while) {
    options_.busPatience = std::chrono::milliseconds(1200);
    host_.on("start-up", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    EXPECT_THAT(host_.heard(), Contains("ack -1"));
    EXPECT_THAT(told("bus-missing"), ElementsAre(HasSubstr("did not answer in 1 s; the agent")));
    ASSERT_TRUE(bus_.start());
    ASSERT_TRUE(turnUntil([&] { return explained("bus").empty(); }));
    EXPECT_EQ(told("host-started").size(), 1U);
}

class Run : public DaemonTest {
  protected:
    Run() {
        sigset_t ends;
        sigemptyset(&ends);
        sigaddset(&ends, SIGTERM);
        sigaddset(&ends, SIGINT);
        sigprocmask(SIG_BLOCK, &ends, &before_);
        options_.bootId = "boot-1";
    }
    ~Run() override {
        daemon_.reset();
        sigprocmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    sigset_t before_{};
};

TEST_F(Run, does_not_start_at_an_address_that_is_none) {
    options_.bus = "nonsense";
    daemon_.emplace(loop_.get(), options_, config_);
    testing::internal::CaptureStderr();
    EXPECT_EQ(daemon_->run(), base::rowOf(base::Outcome::wrongUse).code);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("nonsense"));
    EXPECT_EQ(host_.count("start-up"), 0U);
}

TEST_F(Run, ends_well_when_it_is_told_to) {
    daemon_.emplace(loop_.get(), options_, config_);
    kill(getpid(), SIGTERM);
    EXPECT_EQ(daemon_->run(), 0);
}

} // namespace
} // namespace service::test
