// SPDX-License-Identifier: MIT
// Between an activation and its reboot: what is queued waits, and a reboot that stays away is told.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto kAtOnce = std::chrono::milliseconds(1);

class BeforeTheReboot : public DaemonTest {
  protected:
    // The offer's call does that, and another offer was accepted before it ended.
    void offerTwo(int policy, std::vector<Action> actions) {
        actions.insert(actions.begin(), waitFor("go"));
        host_.on("new-image", actions);
        startUp();
        first_ = ticketOf(offer(policy));
        ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
        second_ = ticketOf(offer(policy, kOther));
        host_.release("go");
        ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
        turnWhileBusy();
    }

    void expectThatTheSecondWaits() {
        EXPECT_EQ(host_.count("new-image"), 1U);
        EXPECT_THAT(codesOf(first_), IsEmpty());
        EXPECT_THAT(codesOf(second_), IsEmpty());
        EXPECT_EQ(calls().status().queued, 1U);
        EXPECT_EQ(calls().status().ticket, first_);
        EXPECT_EQ(kept().queue.size(), 1U);
        EXPECT_THAT(explained("queue"), HasSubstr("behind the reboot"));
    }

    // A timer without an offer activates, and an offer comes behind it.
    void activateForNoOffer() {
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = 8;
        ledger.timers = {{"rebootTimer", 1, 0, 0, 1}};
        keep(ledger);
        host_.on("timer", {stage("activating"), stage("rebooting")});
        startUp();
        ASSERT_TRUE(turnUntil([&] { return host_.count("timer") == 1 && !kept().running; }));
        ticketOf(offer());
        turnWhileBusy();
    }

    void boot() {
        stop();
        runFrom(node::Bank::b, kNew);
        host_.on("start-up", {});
        host_.on("start-up", {report("OTA_SW_COMMIT_COMPLETE")});
        startUp("boot-2");
    }

    std::uint64_t first_ = 0;
    std::uint64_t second_ = 0;
};

TEST_F(BeforeTheReboot, nothing_that_is_queued_begins_and_behind_it_everything_does) {
    offerTwo(1, {stage("activating"), stage("rebooting"), report("OTA_SW_ACTIVATION_COMPLETE")});
    expectThatTheSecondWaits();
    EXPECT_EQ(calls().status().stage, "rebooting");
    boot();
    ASSERT_TRUE(turnUntil([&] { return finished(second_); }));
    EXPECT_THAT(codesOf(first_), ElementsAre(base::rowOf(Outcome::done).code));
    EXPECT_EQ(host_.count("new-image"), 2U);
}

// The agent goes on with such an offer behind the reboot that it asked for.
TEST_F(BeforeTheReboot, a_word_that_comes_behind_it_decides_nothing) {
    offerTwo(3, {stage("activating"), stage("rebooting"),
                 report("OTA_SW_ACTIVATION_REBOOT_COMPLETE"), report("NO_OTA_SW_UPGRADE")});
    expectThatTheSecondWaits();
}

TEST_F(BeforeTheReboot, the_activation_may_be_of_no_offer_that_stands) {
    activateForNoOffer();
    EXPECT_EQ(host_.count("new-image"), 0U);
    EXPECT_EQ(calls().status().stage, "rebooting");
    EXPECT_EQ(cancel(0)->times, 0) << "it is taken back first";
    ASSERT_TRUE(turnUntil([&] { return host_.count("abandon") == 1; }));
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
}

TEST_F(BeforeTheReboot, what_the_agent_still_does_is_not_the_stage_of_the_node) {
    host_.on("new-image",
             {stage("activating"), stage("rebooting"), stage("downloading"), waitFor("go")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer(3));
    ASSERT_TRUE(turnUntil([&] { return told("stage").size() == 3; }));
    EXPECT_EQ(calls().status().stage, "rebooting");
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    EXPECT_EQ(calls().status().stage, "rebooting");
    EXPECT_THAT(codesOf(ticket), IsEmpty());
}

TEST_F(BeforeTheReboot, a_service_that_is_restarted_knows_of_an_activation_of_no_offer) {
    activateForNoOffer();
    stop();
    startUp();
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    EXPECT_EQ(calls().status().stage, "rebooting");
    EXPECT_EQ(calls().status().queued, 1U);
    boot();
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; })) << "it waited for that";
    EXPECT_FALSE(kept().rebootDue);
}

TEST_F(BeforeTheReboot, one_that_does_not_come_is_told_with_what_to_do) {
    options_.rebootPatience = kAtOnce;
    offerTwo(1, {stage("activating"), stage("rebooting")});
    ASSERT_TRUE(turnUntil([&] { return !told("reboot-overdue").empty(); }));
    turnWhileBusy();
    EXPECT_THAT(told("reboot-overdue"),
                ElementsAre(HasSubstr("activated, and the node has not rebooted")));
    EXPECT_EQ(calls().status().stage, "reboot-overdue");
    EXPECT_THAT(explained("next"), HasSubstr("reboot the node"));
    expectThatTheSecondWaits();
    const ReplyRef taken = cancel(first_);
    ASSERT_TRUE(turnUntil([&] { return finished(second_); }));
    EXPECT_FALSE(taken->refused) << taken->text;
    EXPECT_EQ(host_.count("abandon"), 1U);
    EXPECT_THAT(codesOf(first_), ElementsAre(base::rowOf(Outcome::cancelled).code));
    EXPECT_TRUE(idle()) << calls().status().stage;
}

TEST_F(BeforeTheReboot, one_that_does_not_come_is_told_by_a_service_that_was_restarted_too) {
    offerTwo(1, {stage("activating"), stage("rebooting")});
    EXPECT_THAT(told("reboot-overdue"), IsEmpty());
    stop();
    options_.rebootPatience = kAtOnce;
    startUp();
    ASSERT_TRUE(turnUntil([&] { return !told("reboot-overdue").empty(); }));
    expectThatTheSecondWaits();
    EXPECT_EQ(calls().status().stage, "reboot-overdue");
}

} // namespace
} // namespace service::test
