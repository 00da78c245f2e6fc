// SPDX-License-Identifier: MIT
// The daemon's road to its root: answers that come late, and a role that changes meanwhile.
#include "daemon_fixture.h"

#include "uplink/broker.h"

#include <csignal>
#include <filesystem>
#include <mutex>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::mutex disk; // no line of the history is stored while a test holds it

} // namespace

extern "C" int fdatasync(int file) {
    const std::scoped_lock held(disk);
    return static_cast<int>(syscall(SYS_fdatasync, file));
}

namespace service::test {
namespace {

using testing::Contains;

// In which what the agent asked reaches the daemon.
constexpr auto kAMoment = std::chrono::milliseconds(100);

class Uplink : public DaemonTest {
  protected:
    // An extender, connected to a broker that nobody else is at.
    void connect() {
        config_.workMode = "AP_Bridge";
        config_.workRole = "Agent";
        connectAsConfigured();
    }

    void connectAsConfigured() {
        std::filesystem::create_directory(in("broker"));
        makeAuthority(in("broker"), "ca");
        makeCertificate(in("broker"), "ca", "server", "broker", "IP:127.0.0.1");
        broker_.emplace(in("broker"));
        broker_->start();
        config_.rootHost = "127.0.0.1";
        config_.rootPort = broker_->port();
        config_.rootCaCertificate = in("broker/ca.pem");
        startUp();
        ASSERT_TRUE(turnUntil([&] { return calls().status().rootConnected; }));
    }

    std::optional<Broker> broker_;
};

TEST_F(Uplink, answers_the_agent_when_the_root_did) {
    host_.on("new-image", {notifyRoot()});
    connect();
    ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.log().size() == 3; }));
    const bool reached = host_.heard().back() == "ack 0";
    EXPECT_EQ(told("root-notified").size(), reached ? 1U : 0U);
    EXPECT_EQ(told("root-failed").size(), reached ? 0U : 1U);
}

TEST_F(Uplink, gives_no_host_the_answer_to_another_one) {
    host_.on("new-image",
             {say(R"({"call":"notifyRoot","config":"{}"})"), waitFor("go"), dieOf(SIGKILL)});
    host_.on("new-image", {waitFor("behind"), notifyRoot()});
    connect();
    broker_->freeze();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
    turnFor(kAMoment);
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 2; }));
    broker_->goOn();
    ASSERT_TRUE(
        turnUntil([&] { return told("root-failed").size() + told("root-notified").size() == 1; }));
    host_.release("behind");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(host_.heard(), Contains(testing::StartsWith("ack")).Times(1));
    EXPECT_EQ(told("root-failed").size() + told("root-notified").size(), 2U);
}

TEST_F(Uplink, waits_for_an_answer_before_it_follows_a_change_of_role) {
    host_.on("new-image", {notifyRoot()});
    connect();
    broker_->freeze();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
    turnFor(kAMoment);
    const ReplyRef changed = change("work_role", "Controller");
    ASSERT_TRUE(turnUntil([&] { return changed->times == 1; }));
    turnFor(kAMoment);
    broker_->goOn();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.log().size(), 3U);
    EXPECT_TRUE(turnUntil([&] { return calls().status().rootConnected; }));
}

TEST_F(Uplink, is_taken_anew_under_the_address_that_the_bridge_has_now) {
    connect();
    setBridge("02:00:5E:10:00:02");
    ASSERT_TRUE(turnUntil([&] { return calls().status().mac == "02:00:5E:10:00:02"; }))
        << "nobody asked for it";
    EXPECT_FALSE(calls().status().rootConnected);
    EXPECT_TRUE(turnUntil([&] { return calls().status().rootConnected; }));
}

TEST_F(Uplink, takes_nothing_while_the_disk_is_behind) {
    std::vector<Action> manyLines(3 * History::kManyWaiting, report("NO_OTA_SW_UPGRADE"));
    manyLines.insert(manyLines.begin(), waitFor("the disk to hang"));
    host_.on("new-image", manyLines);
    connectAsConfigured();
    ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
    turnWhileBusy();
    const std::string mac = "02:00:5E:10:00:02";
    RootLink extender(
        {config_.rootHost, config_.rootPort, config_.rootCaCertificate, "", "", config_.rootTopic},
        "otaSwAgent-" + mac, mac, false);
    std::optional<std::string> answered;
    {
        const std::scoped_lock hangs(disk);
        host_.release("the disk to hang");
        ASSERT_TRUE(turnUntil([&] { return told("status").size() > 2 * History::kManyWaiting; }));
        extender.publish(FromExtender::Kind::report, "no record",
                         [&](const base::Result<void> &published) {
                             answered = published ? "" : published.error().text;
                         });
        ASSERT_TRUE(turnUntil([&] {
            extender.dispatch([](const Unchecked &) {}, [](bool) {});
            extender.tick();
            return answered.has_value();
        }));
        ASSERT_EQ(*answered, "") << "the broker has it, and hands it on";
        turnFor(3 * kAMoment);
        EXPECT_THAT(told("extender-report"), testing::IsEmpty());
    }
    ASSERT_TRUE(turnUntil([&] { return told("extender-report").size() == 1; }));
    EXPECT_THAT(told("extender-report").front(), testing::HasSubstr(mac + ": "));
}

TEST_F(Uplink, to_a_root_that_went_away_during_a_change_of_role_is_shown_as_down) {
    connect();
    broker_->freeze();
    const ReplyRef changed = change("work_role", "Controller");
    ASSERT_TRUE(turnUntil([&] { return changed->times == 1; }));
    EXPECT_FALSE(calls().status().rootConnected);
    broker_->goOn();
    EXPECT_TRUE(turnUntil([&] { return calls().status().rootConnected; }));
}

} // namespace
} // namespace service::test
