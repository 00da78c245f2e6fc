// SPDX-License-Identifier: MIT
// The agent's timers while the agent is busy.
#include "daemon_test.h"

#include "service/state/request_check.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::int64_t kSoonMs = 50;

class TimersOfTheAgent : public DaemonTest {
  protected:
    // A call that starts a timer of no length and goes on at "go"; returns once it ran out.
    std::uint64_t offerWithExpiry(const std::vector<Action> &behind) {
        std::vector<Action> actions{startTimer("rebootTimer", 0), waitFor("go")};
        actions.insert(actions.end(), behind.begin(), behind.end());
        host_.on("new-image", actions);
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] { return told("timer-ran-out").size() == 1; }));
        return ticket;
    }
};

TEST_F(TimersOfTheAgent, that_run_out_during_the_call_come_behind_it_and_are_awaited) {
    host_.on("timer", {report("OTA_SW_ACTIVATION_FAILED")});
    const std::uint64_t ticket = offerWithExpiry({});
    EXPECT_EQ(daemon_->status().queued, 1U);
    EXPECT_EQ(host_.count("timer"), 0U);
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "ack 0", "timer", "ack -1"));
    EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::activationFailed).code));
}

TEST_F(TimersOfTheAgent, that_ran_out_and_were_stopped_before_their_turn_do_not_come) {
    const std::uint64_t ticket = offerWithExpiry({stopTimer("rebootTimer")});
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 0U);
    EXPECT_EQ(daemon_->status().queued, 0U);
    EXPECT_TRUE(idle());
}

TEST_F(TimersOfTheAgent, that_ran_out_and_were_started_anew_count_anew) {
    const std::uint64_t ticket = offerWithExpiry({startTimer("rebootTimer", kLong)});
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return kept().standing.has_value(); }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 0U);
    ASSERT_EQ(daemon_->status().timers.size(), 1U);
    EXPECT_GT(daemon_->status().timers[0].seconds, kLong - 100U);
    EXPECT_THAT(codesOf(ticket), IsEmpty());
}

TEST_F(TimersOfTheAgent, that_ran_out_are_on_the_disk_as_expired_and_not_as_armed) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 9;
    ledger.standing = WaitingOffer{offerRequest(7), "a", false, false};
    ledger.timers = {{"rebootTimer", 1, bootNowMs() + kSoonMs, 0, 1}};
    ledger.queue = {mobileTriggerRequest(1)};
    ledger.queue[0].ticket = 8;
    keep(ledger);
    host_.on("mobile-trigger", {hang()});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return !told("timer-ran-out").empty(); }));
    EXPECT_EQ(told("timer-ran-out")[0], "7 0 rebootTimer") << "it is the offer's";
    ASSERT_TRUE(turnUntil([&] { return kept().running && kept().queue.size() == 1; }));
    const Ledger now = kept();
    EXPECT_EQ(now.queue[0].kind, kTimer);
    EXPECT_THAT(now.timers, IsEmpty());
}

TEST_F(TimersOfTheAgent, that_ran_out_are_carried_out_though_it_cannot_be_kept) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 8;
    ledger.standing = WaitingOffer{offerRequest(7), "a", false, false};
    ledger.timers = {{"rebootTimer", 1, 0, 0, 1}};
    keep(ledger);
    host_.on("start-up", {waitFor("go")});
    host_.on("timer", {report("OTA_SW_ACTIVATION_FAILED")});
    start();
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 1; }));
    turnWhileBusy();
    breakStateDirectory();
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_EQ(host_.count("timer"), 1U);
    ASSERT_EQ(told("not-kept").size(), 1U);
    EXPECT_THAT(told("not-kept")[0], AllOf(StartsWith("7 8 "), HasSubstr(in("state/requests.json")),
                                           HasSubstr("the timer is carried out all the same")));
    EXPECT_EQ(reasonCodeOf("not-kept"), "not-written");
    EXPECT_THAT(explained("disk"), HasSubstr("make room in the state directory"));
    mendStateDirectory();
    ASSERT_TRUE(turnUntil([&] { return !kept().standing; })) << "it is tried again";
    EXPECT_TRUE(turnUntil([&] { return explained("disk").empty(); }));
    EXPECT_EQ(host_.count("timer"), 1U);
}

TEST_F(TimersOfTheAgent, that_run_out_behind_an_offer_that_cannot_be_kept_do_not_wait_for_it) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 8;
    ledger.standing = WaitingOffer{offerRequest(7), "a", false, false};
    ledger.timers = {{"rebootTimer", 2, bootNowMs() + 2000, 0, 1}};
    keep(ledger);
    host_.on("timer", {report("OTA_SW_ACTIVATION_FAILED")});
    startUp();
    turnWhileBusy();
    const auto accepted = std::make_shared<Reply>();
    daemon_->offerImage(descriptorOf(0, kOther), {0, 0, 0},
                        [&](const guard::Refusal *, std::uint64_t ticket) {
                            accepted->ticket = ticket;
                            breakStateDirectory(); // full, or gone, a moment later
                        });
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::activationFailed).code))
        << "the offer took nothing's place yet";
    EXPECT_EQ(host_.count("timer"), 1U);
    EXPECT_EQ(host_.count("new-image"), 0U);
    mendStateDirectory();
    ASSERT_TRUE(turnUntil([&] { return finished(accepted->ticket); })) << "it has its turn then";
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_EQ(host_.count("timer"), 1U);
}

TEST_F(TimersOfTheAgent, go_before_what_was_asked_later) {
    offerWithExpiry({});
    ticketOf(trigger());
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return host_.count("mobile-trigger") == 1; }));
    EXPECT_THAT(host_.heard(),
                ElementsAre("start-up", "new-image", "ack 0", "timer", "mobile-trigger"));
}

TEST_F(TimersOfTheAgent, are_stopped_and_the_stop_is_told_once) {
    host_.on("new-image", {startTimer("rebootTimer", kLong), stopTimer("rebootTimer"),
                           stopTimer("rebootTimer")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(told("timer-started"), ElementsAre("0 0 rebootTimer for 1000 s"));
    EXPECT_THAT(told("timer-stopped"), ElementsAre("0 0 rebootTimer"));
    EXPECT_THAT(daemon_->status().timers, IsEmpty());
}

} // namespace
} // namespace service::test
