// SPDX-License-Identifier: MIT
// The agent's timers while the agent is busy.
#include "tests/unit/service/daemon_fixture.h"

#include "service/state/request_check.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::IsEmpty;

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
    EXPECT_EQ(calls().status().queued, 1U);
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
    EXPECT_EQ(calls().status().queued, 0U);
    EXPECT_TRUE(idle());
}

TEST_F(TimersOfTheAgent, that_ran_out_and_were_started_anew_count_anew) {
    const std::uint64_t ticket = offerWithExpiry({startTimer("rebootTimer", kLong)});
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 0U);
    ASSERT_EQ(calls().status().timers.size(), 1U);
    EXPECT_GT(calls().status().timers[0].seconds, kLong - 100U);
    EXPECT_THAT(codesOf(ticket), IsEmpty());
}

TEST_F(TimersOfTheAgent, that_ran_out_are_on_the_disk_as_expired_and_not_as_armed) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 9;
    ledger.waiting = WaitingOffer{offerRequest(7), "a", false, false};
    ledger.timers = {{"rebootTimer", 1, bootNowMs() + kSoonMs, 0, 1}};
    ledger.queue = {mobileTriggerRequest(1)};
    ledger.queue.front().ticket = 8;
    keep(ledger);
    host_.on("mobile-trigger", {hang()});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return !told("timer-ran-out").empty(); }));
    EXPECT_EQ(told("timer-ran-out")[0], "7 0 rebootTimer") << "it is the offer's";
    ASSERT_TRUE(turnUntil([&] { return kept().running && kept().queue.size() == 1; }));
    const Ledger now = kept();
    EXPECT_EQ(now.queue.front().kind, kTimer);
    EXPECT_THAT(now.timers, IsEmpty());
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
    EXPECT_THAT(calls().status().timers, IsEmpty());
}

} // namespace
} // namespace service::test
