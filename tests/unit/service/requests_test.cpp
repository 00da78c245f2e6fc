// SPDX-License-Identifier: MIT
// Requests are kept before anything happens with them, and run one at a time, in their order.
#include "daemon_test.h"

#include "base/message.h"
#include "service/state/request_check.h"

#include <filesystem>

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr int kLongestQueue = 16;

class Requests : public DaemonTest {
  protected:
    // The agent works on an offer until "go".
    std::uint64_t makeBusy() {
        host_.on("new-image",
                 {stage("downloading"), waitFor("go"), report("OTA_SW_FLASH_WRITE_FAILED")});
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] { return daemon_->status().stage == "downloading"; }));
        return ticket;
    }
};

TEST_F(Requests, are_on_the_disk_before_they_are_answered) {
    startUp();
    Ledger seen;
    std::uint64_t answered = 0;
    daemon_->offerImage(descriptorOf(1, kNew), {2, 1, 0},
                        [&](const guard::Refusal *refusal, std::uint64_t ticket) {
                            EXPECT_EQ(refusal, nullptr);
                            seen = kept();
                            answered = ticket;
                        });
    EXPECT_EQ(answered, 0U);
    ASSERT_TRUE(turnUntil([&] { return answered != 0; }));
    ASSERT_EQ(seen.queue.size(), 1U);
    EXPECT_EQ(seen.queue[0].ticket, answered);
    EXPECT_EQ(seen.queue[0].version, kNew);
    EXPECT_EQ(seen.queue[0].policy, 1);
    EXPECT_EQ(seen.nextTicket, answered + 1);
}

TEST_F(Requests, are_on_the_disk_as_running_before_the_agent_hears_of_them) {
    host_.on("new-image", {copy("state/requests.json", "seen"), report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    const Ledger seen = ledgerIn("seen");
    ASSERT_TRUE(seen.running);
    EXPECT_EQ(seen.running->request.ticket, ticket);
    EXPECT_EQ(seen.running->starts, 1);
    EXPECT_EQ(seen.running->bank, "a");
    EXPECT_THAT(seen.queue, IsEmpty());
}

TEST_F(Requests, are_on_the_disk_as_activated_before_the_agent_goes_on_to_its_reboot) {
    host_.on("new-image",
             {stage("activating"), stage("rebooting"), ask(R"({"call":"activated"})"),
              copy("state/requests.json", "seen"), report("OTA_SW_ACTIVATION_COMPLETE")});
    startUp();
    ticketOf(offer(1));
    ASSERT_TRUE(turnUntil([&] { return told("status").size() == 1; }));
    const Ledger seen = ledgerIn("seen");
    ASSERT_TRUE(seen.running);
    EXPECT_TRUE(seen.running->activated);
}

TEST_F(Requests, that_are_activated_go_on_to_their_reboot_where_that_cannot_be_kept) {
    host_.on("new-image", {stage("downloading"), waitFor("go"), stage("rebooting"),
                           ask(R"({"call":"activated"})"), report("OTA_SW_ACTIVATION_COMPLETE")});
    startUp();
    ticketOf(offer(1));
    ASSERT_TRUE(turnUntil([&] { return daemon_->status().stage == "downloading"; }));
    breakStateDirectory();
    host_.release("go");
    EXPECT_TRUE(turnUntil([&] { return told("status").size() == 1; }));
    mendStateDirectory();
}

TEST_F(Requests, carry_to_the_agent_what_was_checked) {
    startUp();
    const auto reply = std::make_shared<Reply>();
    daemon_->offerImage(
        descriptorOf(2, kNew), {3, 1, 0},
        [&](const guard::Refusal *, std::uint64_t ticket) { reply->ticket = ticket; });
    ASSERT_TRUE(turnUntil([&] { return reply->ticket != 0 && finished(reply->ticket); }));
    ASSERT_EQ(host_.count("new-image"), 1U);
    const base::Json event = base::parsed(host_.events("new-image")[0]);
    EXPECT_EQ(base::textOf(event.get(), "descriptor"), descriptorOf(2, kNew));
    const cJSON *const config = cJSON_GetObjectItemCaseSensitive(event.get(), "config");
    EXPECT_EQ(base::numberOf(config, "OffloadDownloadActivate"), 3);
    EXPECT_EQ(base::numberOf(config, "initial_obardingStatus"), 1);
    EXPECT_EQ(base::numberOf(config, "firsttime_polling"), 0);
}

TEST_F(Requests, that_cannot_be_kept_are_refused_and_leave_nothing_behind) {
    startUp();
    turnWhileBusy();
    breakStateDirectory();
    const ReplyRef lost = offer();
    ASSERT_TRUE(turnUntil([&] { return lost->times > 0; }));
    EXPECT_EQ(lost->refused, Outcome::notKept);
    EXPECT_THAT(lost->text, HasSubstr(in("state/requests.json")));
    EXPECT_EQ(daemon_->status().queued, 0U);
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    mendStateDirectory();
    EXPECT_THAT(kept().queue, IsEmpty());
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_EQ(lost->times, 1);
}

TEST_F(Requests, wait_where_the_disk_fails_behind_the_answer_and_tell_it) {
    startUp();
    turnWhileBusy();
    const auto reply = std::make_shared<Reply>();
    daemon_->offerImage(descriptorOf(0, kNew), {0, 0, 0},
                        [&](const guard::Refusal *, std::uint64_t ticket) {
                            reply->ticket = ticket;
                            breakStateDirectory(); // full, or gone, a moment later
                        });
    ASSERT_TRUE(turnUntil([&] { return reply->ticket != 0; }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    EXPECT_EQ(daemon_->status().queued, 1U);
    stop(); // as in a power cut: the request is on the disk that comes back
    mendStateDirectory();
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(reply->ticket); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
}

TEST_F(Requests, run_in_their_order_and_are_answered_while_the_agent_is_busy) {
    makeBusy();
    const std::uint64_t second = ticketOf(trigger());
    const std::uint64_t third = ticketOf(activateAt("03:30"));
    const std::uint64_t fourth = ticketOf(offer(0, kOther));
    EXPECT_EQ(daemon_->status().queued, 3U);
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image"));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(fourth); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "ack -1", "mobile-trigger",
                                           "activation-time", "new-image"));
    EXPECT_THAT(codesOf(second), ElementsAre(0));
    EXPECT_THAT(codesOf(third), ElementsAre(0));
    EXPECT_LT(second, third);
    EXPECT_LT(third, fourth);
    EXPECT_TRUE(idle());
}

TEST_F(Requests, more_than_the_queue_takes_are_refused) {
    makeBusy();
    for (int i = 0; i < kLongestQueue; ++i) {
        ticketOf(trigger());
    }
    const ReplyRef tooMany = trigger();
    ASSERT_EQ(tooMany->times, 1);
    EXPECT_EQ(tooMany->refused, Outcome::queueFull);
    host_.release("go");
    ASSERT_TRUE(
        turnUntil([&] { return daemon_->status().ticket == 0 && daemon_->status().queued == 0; }));
    EXPECT_EQ(host_.count("mobile-trigger"), static_cast<std::size_t>(kLongestQueue));
}

TEST_F(Requests, an_offer_that_waits_is_superseded_by_the_next_one) {
    host_.on("new-image", {startTimer("rebootTimer", kLong)});
    host_.on("new-image", {stopTimer("rebootTimer"), report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t first = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().standing.has_value(); }));
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(first), ElementsAre(base::rowOf(Outcome::superseded).code));
    EXPECT_THAT(codesOf(second), ElementsAre(base::rowOf(Outcome::notNeeded).code));
    ASSERT_TRUE(turnUntil([&] { return !kept().standing && !kept().running; }));
    EXPECT_TRUE(idle());
}

TEST_F(Requests, that_name_the_node_wait_for_its_address_and_others_do_not) {
    host_.release("nameless");
    host_.on("start-up",
             {waitFor("go"), say(R"({"note":"node","mac":"02:00:5E:10:00:01"})"), waitFor("on")});
    start();
    EXPECT_EQ(offer()->refused, Outcome::notReady);
    const auto named = std::make_shared<Reply>();
    daemon_->setActivationTime(R"({"mac":"02:00:5E:10:00:01","actTime":"03:30"})",
                               answerInto(named));
    EXPECT_EQ(named->refused, Outcome::notReady) << named->text;
    EXPECT_EQ(told("refused").size(), 2U);
    const std::uint64_t asked = ticketOf(trigger());
    const std::uint64_t time = ticketOf(activateAt("03:30"));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return !daemon_->status().mac.empty(); }));
    const std::uint64_t offered = ticketOf(offer());
    host_.release("on");
    ASSERT_TRUE(turnUntil([&] { return finished(offered); }));
    EXPECT_TRUE(finished(asked));
    EXPECT_TRUE(finished(time));
    EXPECT_THAT(host_.heard(),
                ElementsAre("start-up", "mobile-trigger", "activation-time", "new-image"));
}

TEST_F(Requests, are_judged_by_the_address_that_the_bridge_has_now) {
    host_.release("nameless");
    host_.on("start-up", {say(R"({"note":"node","mac":""})")});
    startUp();
    EXPECT_THAT(offer()->text, HasSubstr("the bridge br0 has no address"));
    setBridge("02:00:5e:10:00:01");
    EXPECT_NE(ticketOf(offer()), 0U) << "it came up";
    setBridge("02:00:5E:10:00:02");
    EXPECT_EQ(offer()->refused, Outcome::wrongMac) << "it changed";
    EXPECT_EQ(daemon_->status().mac, "02:00:5E:10:00:02");
    setBridge("");
    EXPECT_EQ(offer()->refused, Outcome::notReady) << "it went";
    EXPECT_EQ(daemon_->status().mac, "");
}

TEST_F(Requests, that_were_kept_wait_for_the_address_that_they_name) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 9;
    ledger.standing = WaitingOffer{offerRequest(6), "a", false, false};
    ledger.timers = {{"downloadRetryTimer", 1, 0, 0, 1}};
    ledger.queue = {offerRequest(7), mobileTriggerRequest(1)};
    ledger.queue[1].ticket = 8;
    keep(ledger);
    host_.release("nameless");
    host_.on("start-up", {say(R"({"note":"node","mac":""})")});
    host_.on("timer", {startTimer("downloadRetryTimer", kLong)});
    host_.on("new-image", {stopTimer("downloadRetryTimer"), report("NO_OTA_SW_UPGRADE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return told("request-waits").size() == 1; }));
    ASSERT_TRUE(turnUntil([&] { return host_.count("timer") == 1; })) << "it names nobody";
    turnWhileBusy();
    EXPECT_THAT(told("request-waits"), ElementsAre(HasSubstr("7 65 it names the node by")));
    EXPECT_EQ(reasonCodeOf("request-waits"), "no-address");
    EXPECT_THAT(explained("queue"), HasSubstr("the bridge br0 has none"));
    EXPECT_THAT(codesOf(7), IsEmpty());
    EXPECT_EQ(host_.count("new-image") + host_.count("mobile-trigger"), 0U);
    setBridge("02:00:5e:10:00:01");
    ASSERT_TRUE(turnUntil([&] { return finished(7) && finished(8); })) << "nobody asked for it";
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_EQ(told("request-waits").size(), 1U);
    EXPECT_THAT(explained("queue"), Not(HasSubstr("br0")));
}

TEST_F(Requests, that_broke_off_wait_for_the_address_that_they_name) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 8;
    ledger.running.emplace().request = offerRequest(7);
    keep(ledger);
    host_.release("nameless");
    host_.on("start-up", {say(R"({"note":"node","mac":""})")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return told("request-waits").size() == 1; }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    setBridge("02:00:5e:10:00:01");
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
}

TEST_F(Requests, are_judged_by_the_address_that_the_host_sees_where_the_service_sees_none) {
    host_.on("mobile-trigger", {say(R"({"note":"node","mac":""})")});
    host_.on("mobile-trigger", {say(R"({"note":"node","mac":"02:00:5E:10:00:01"})")});
    startUp();
    EXPECT_NE(ticketOf(offer()), 0U);
    const std::uint64_t gone = ticketOf(trigger());
    ASSERT_TRUE(turnUntil([&] { return finished(gone); }));
    EXPECT_EQ(offer()->refused, Outcome::notReady);
    const std::uint64_t back = ticketOf(trigger());
    ASSERT_TRUE(turnUntil([&] { return finished(back); }));
    EXPECT_NE(ticketOf(offer()), 0U);
}

TEST_F(Requests, wait_for_an_agent_that_waits_itself_which_is_told) {
    host_.on("start-up",
             {say(R"({"note":"waits-for","path":"/run/manager.sock"})"), waitFor("go")});
    start();
    ASSERT_TRUE(turnUntil([&] { return daemon_->status().stage == "waiting"; }));
    ASSERT_EQ(told("agent-waits").size(), 1U);
    EXPECT_THAT(told("agent-waits")[0], HasSubstr("/run/manager.sock"));
    const std::uint64_t ticket = ticketOf(trigger());
    turnWhileBusy();
    EXPECT_EQ(host_.count("mobile-trigger"), 0U);
    host_.release("go");
    EXPECT_TRUE(turnUntil([&] { return finished(ticket); }));
}

} // namespace
} // namespace service::test
