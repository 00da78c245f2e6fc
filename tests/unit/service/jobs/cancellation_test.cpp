// SPDX-License-Identifier: MIT
// Cancelling in every state: answered once, nothing comes back, and the node takes the next offer.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const int kCancelled = base::rowOf(Outcome::cancelled).code;

class Cancel : public DaemonTest {
  protected:
    std::uint64_t offerAndBeBusy(const std::vector<Action> &actions) {
        host_.on("new-image", actions);
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
        return ticket;
    }

    std::uint64_t offerThatStands() {
        const std::uint64_t ticket = offerAndBeBusy({startTimer("rebootTimer", kLong)});
        EXPECT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
        return ticket;
    }

    Ledger withAnOfferThatWaits() const {
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = 8;
        ledger.memory = R"({"after":"new-image"})";
        ledger.waiting = WaitingOffer{offerRequest(7), "a", false, false};
        const ArmedTimer timer{"rebootTimer", kLong, bootNowMs() + kLong * 1000, 0, 0};
        ledger.timers = {timer};
        return ledger;
    }

    // The cancelled one is over, nothing of it is left, and the next offer has its turn.
    void expectAllForgotten(std::uint64_t ticket) {
        EXPECT_THAT(codesOf(ticket), ElementsAre(kCancelled));
        EXPECT_TRUE(idle()) << calls().status().stage;
        EXPECT_EQ(calls().status().ticket, 0U);
        EXPECT_THAT(calls().status().timers, IsEmpty());
        const Ledger now = kept();
        EXPECT_FALSE(now.running);
        EXPECT_FALSE(now.waiting);
        EXPECT_THAT(now.timers, IsEmpty());
        EXPECT_THAT(now.memory, Not(HasSubstr("new-image"))) << "the agent's as it starts";
        const std::size_t before = host_.count("new-image");
        const std::uint64_t next = ticketOf(offer(0, kOther));
        EXPECT_TRUE(turnUntil([&] { return finished(next); }));
        EXPECT_EQ(host_.count("new-image"), before + 1);
    }

    void expectCancelled(const ReplyRef &reply, std::uint64_t ticket) {
        ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
        EXPECT_FALSE(reply->refused) << reply->text;
        EXPECT_EQ(reply->ticket, ticket);
        EXPECT_EQ(reply->times, 1);
    }
};

TEST_F(Cancel, of_the_running_call_kills_the_host_and_takes_back_what_it_left) {
    const std::uint64_t ticket = offerAndBeBusy({stage("writing"), hang()});
    expectCancelled(cancel(ticket), ticket);
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "start-up", "abandon"));
    EXPECT_THAT(told("host-crashed"), IsEmpty());
    expectAllForgotten(ticket);
}

TEST_F(Cancel, of_whatever_runs_needs_no_ticket) {
    const std::uint64_t ticket = offerAndBeBusy({hang()});
    expectCancelled(cancel(0), ticket);
    expectAllForgotten(ticket);
}

TEST_F(Cancel, twice_at_once_is_answered_twice_and_done_once) {
    const std::uint64_t ticket = offerAndBeBusy({hang()});
    const ReplyRef one = cancel(ticket);
    const ReplyRef other = cancel(0);
    expectCancelled(one, ticket);
    expectCancelled(other, ticket);
    EXPECT_EQ(host_.count("abandon"), 1U);
    expectAllForgotten(ticket);
}

TEST_F(Cancel, of_an_offer_that_waits_stops_its_timers) {
    const std::uint64_t ticket = offerThatStands();
    expectCancelled(cancel(ticket), ticket);
    EXPECT_EQ(host_.count("abandon"), 1U);
    expectAllForgotten(ticket);
}

TEST_F(Cancel, of_an_offer_that_waits_ends_the_trigger_that_works_for_it) {
    const std::uint64_t ticket = offerThatStands();
    host_.on("mobile-trigger", {stage("downloading"), hang()});
    const std::uint64_t asked = ticketOf(trigger());
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    expectCancelled(cancel(ticket), ticket);
    EXPECT_THAT(codesOf(asked), ElementsAre(kCancelled));
    expectAllForgotten(ticket);
}

TEST_F(Cancel, of_a_timer_s_call_ends_its_offer) {
    host_.on("timer", {stage("downloading"), hang()});
    const std::uint64_t ticket = offerAndBeBusy({startTimer("downloadStartTimer", 0)});
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    expectCancelled(cancel(ticket), ticket);
    EXPECT_THAT(host_.heard(), Contains("timer").Times(1));
    expectAllForgotten(ticket);
}

TEST_F(Cancel, while_the_host_starts_up_does_not_wait_for_the_start) {
    keep(withAnOfferThatWaits());
    host_.on("start-up", {hang()});
    start();
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 1; }));
    turnWhileBusy();
    expectCancelled(cancel(7), 7);
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "start-up", "abandon"));
    expectAllForgotten(7);
}

TEST_F(Cancel, of_what_was_activated_comes_too_late_behind_the_boot) {
    Ledger ledger = withAnOfferThatWaits();
    ledger.waiting->activated = true;
    ledger.timers.clear();
    keep(ledger);
    runFrom(node::Bank::b, kNew);
    host_.on("start-up", {waitFor("judged"), report("OTA_SW_COMMIT_COMPLETE")});
    start("boot-2");
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 1; }));
    const ReplyRef late = cancel(7);
    EXPECT_EQ(late->refused, Outcome::notReady);
    EXPECT_THAT(late->text, HasSubstr("the node has booted since"));
    host_.release("judged");
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(codesOf(7), ElementsAre(0));
}

TEST_F(Cancel, while_the_memory_is_restored_forgets_it) {
    keep(withAnOfferThatWaits());
    host_.on("restore", {hang()});
    start();
    ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 1; }));
    expectCancelled(cancel(7), 7);
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "restore", "start-up", "abandon"));
    expectAllForgotten(7);
}

// The time was accepted with a ticket of its own, which is over.
TEST_F(Cancel, of_an_offer_keeps_the_activation_time_that_was_accepted_before) {
    Ledger ledger = withAnOfferThatWaits();
    ledger.memory = R"({"swInfo":)" + descriptorOf(0, kNew) +
                    R"(,"swActTime":{"actTime":"02:00"},)"
                    R"("g_rebootTime":"02:00","g_mAppRebootTrig":1,"reboot_flag":1})";
    keep(ledger);
    startUp();
    ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 1; }));
    turnWhileBusy();
    expectCancelled(cancel(7), 7);
    ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 2; }));
    EXPECT_THAT(host_.events("restore")[1],
                HasSubstr(R"("mac":"","policy":0},"swActTime":{"actTime":"02:00"},)"
                          R"("g_rebootTime":"02:00","g_mAppRebootTrig":1,"reboot_flag":0})"));
}

TEST_F(Cancel, of_what_is_being_kept_never_reaches_the_agent) {
    startUp();
    turnWhileBusy();
    const std::uint64_t ticket = ticketOf(offer()); // and by now its start is being kept
    const std::size_t before = host_.count("new-image");
    expectCancelled(cancel(ticket), ticket);
    EXPECT_EQ(before, 0U);
    EXPECT_EQ(host_.count("new-image"), 0U);
    expectAllForgotten(ticket);
}

TEST_F(Cancel, of_a_request_in_the_queue_takes_only_that_out) {
    const std::uint64_t first = offerAndBeBusy({waitFor("go")});
    const std::uint64_t second = ticketOf(trigger());
    const std::uint64_t third = ticketOf(activateAt("03:30"));
    expectCancelled(cancel(second), second);
    EXPECT_EQ(kept().queue.size(), 1U);
    EXPECT_THAT(codesOf(second), ElementsAre(kCancelled));
    EXPECT_EQ(calls().status().queued, 1U);
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(third); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "activation-time"));
    EXPECT_TRUE(finished(first));
}

TEST_F(Cancel, of_whatever_waits_takes_the_first_of_the_queue_where_nothing_runs) {
    keep(withAnOfferThatWaits());
    Ledger ledger = kept();
    ledger.waiting.reset();
    ledger.timers.clear();
    ledger.queue = {offerRequest(7)};
    keep(ledger);
    host_.on("start-up", {waitFor("go")});
    start();
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 1; }));
    expectCancelled(cancel(0), 7);
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return !calls().status().mac.empty() && kept().queue.empty(); }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    EXPECT_THAT(codesOf(7), ElementsAre(kCancelled));
}

TEST_F(Cancel, where_nothing_runs_or_waits_says_so) {
    startUp();
    const ReplyRef any = cancel(0);
    const ReplyRef unknown = cancel(99);
    EXPECT_EQ(any->refused, Outcome::nothingToCancel);
    EXPECT_EQ(unknown->refused, Outcome::nothingToCancel);
    EXPECT_THAT(unknown->text, HasSubstr("99"));
}

TEST_F(Cancel, of_a_ticket_that_is_over_leaves_the_one_that_runs_alone) {
    const std::uint64_t first = offerAndBeBusy({report("NO_OTA_SW_UPGRADE")});
    host_.on("new-image", {waitFor("go"), report("NO_OTA_SW_UPGRADE")});
    ASSERT_TRUE(turnUntil([&] { return finished(first); }));
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 2; }));
    EXPECT_EQ(cancel(first)->refused, Outcome::nothingToCancel);
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(second), ElementsAre(base::rowOf(Outcome::notNeeded).code));
    EXPECT_EQ(host_.count("abandon"), 0U);
}

TEST_F(Cancel, is_over_for_a_second_one_while_the_clean_up_still_runs) {
    host_.on("abandon", {waitFor("go")});
    const std::uint64_t ticket = offerAndBeBusy({hang()});
    const ReplyRef one = cancel(ticket);
    ASSERT_TRUE(turnUntil([&] { return host_.count("abandon") == 1; }));
    EXPECT_EQ(one->times, 0);
    EXPECT_EQ(cancel(ticket)->refused, Outcome::nothingToCancel);
    const std::uint64_t next = ticketOf(offer(0, kOther));
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 1U) << "not before the clean-up is over";
    host_.release("go");
    expectCancelled(one, ticket);
    ASSERT_TRUE(turnUntil([&] { return finished(next); }));
    EXPECT_EQ(host_.count("new-image"), 2U);
}

TEST_F(Cancel, is_answered_where_the_clean_up_crashes_which_is_then_done_again) {
    host_.on("abandon", {exitWith(3)});
    const std::uint64_t ticket = offerAndBeBusy({hang()});
    expectCancelled(cancel(ticket), ticket);
    ASSERT_TRUE(turnUntil([&] { return host_.count("abandon") == 2; }));
    ASSERT_TRUE(turnUntil([&] { return idle(); }));
    expectAllForgotten(ticket);
}

TEST_F(Cancel, tells_what_could_not_be_taken_back) {
    host_.on("abandon", {doneWith(R"({"failed":"the mark stays"})")});
    const std::uint64_t ticket = offerAndBeBusy({hang()});
    const ReplyRef reply = cancel(ticket);
    ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
    EXPECT_EQ(reply->refused, Outcome::failed);
    EXPECT_THAT(reply->text, HasSubstr("the mark stays"));
    expectAllForgotten(ticket);
}

TEST_F(Cancel, that_cannot_be_kept_is_told_as_failed) {
    const std::uint64_t ticket = offerAndBeBusy({hang()});
    breakStateDirectory();
    const ReplyRef reply = cancel(ticket);
    ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
    EXPECT_EQ(reply->refused, Outcome::failed);
    EXPECT_THAT(reply->text, HasSubstr(in("state/requests.json")));
    mendStateDirectory();
}

TEST_F(Cancel, is_answered_where_the_host_cannot_be_started) {
    keep(withAnOfferThatWaits());
    options_.host = in("missing");
    start();
    turnWhileBusy();
    expectCancelled(cancel(7), 7);
    EXPECT_THAT(codesOf(7), ElementsAre(kCancelled));
    ASSERT_TRUE(turnUntil([&] { return !kept().waiting; }));
}

} // namespace
} // namespace service::test
