// SPDX-License-Identifier: MIT
// Requests that name the node by its address, while it has one and while it has none.
#include "tests/unit/service/daemon_fixture.h"

#include "service/state/request_check.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class RequestsByAddress : public DaemonTest {};

TEST_F(RequestsByAddress, that_name_the_node_wait_for_its_address_and_others_do_not) {
    host_.release("nameless");
    host_.on("start-up",
             {waitFor("go"), say(R"({"note":"node","mac":"02:00:5E:10:00:01"})"), waitFor("on")});
    start();
    EXPECT_EQ(offer()->refused, Outcome::notReady);
    const auto named = std::make_shared<Reply>();
    calls().setActivationTime(R"({"mac":"02:00:5E:10:00:01","actTime":"03:30"})",
                              answerInto(named));
    EXPECT_EQ(named->refused, Outcome::notReady) << named->text;
    EXPECT_EQ(told("refused").size(), 2U);
    const std::uint64_t asked = ticketOf(trigger());
    const std::uint64_t time = ticketOf(activateAt("03:30"));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return !calls().status().mac.empty(); }));
    const std::uint64_t offered = ticketOf(offer());
    host_.release("on");
    ASSERT_TRUE(turnUntil([&] { return finished(offered); }));
    EXPECT_TRUE(finished(asked));
    EXPECT_TRUE(finished(time));
    EXPECT_THAT(host_.heard(),
                ElementsAre("start-up", "mobile-trigger", "activation-time", "new-image"));
}

TEST_F(RequestsByAddress, are_judged_by_the_address_that_the_bridge_has_now) {
    host_.release("nameless");
    host_.on("start-up", {say(R"({"note":"node","mac":""})")});
    startUp();
    EXPECT_THAT(offer()->text, HasSubstr("the bridge br0 has no address"));
    setBridge("02:00:5e:10:00:01");
    EXPECT_NE(ticketOf(offer()), 0U) << "it came up";
    setBridge("02:00:5E:10:00:02");
    EXPECT_EQ(offer()->refused, Outcome::wrongMac) << "it changed";
    EXPECT_EQ(calls().status().mac, "02:00:5E:10:00:02");
    setBridge("");
    EXPECT_EQ(offer()->refused, Outcome::notReady) << "it went";
    EXPECT_EQ(calls().status().mac, "");
}

TEST_F(RequestsByAddress, that_were_kept_wait_for_the_address_that_they_name) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 9;
    ledger.waiting = WaitingOffer{offerRequest(6), "a", false, false};
    ledger.timers = {{"downloadRetryTimer", 1, 0, 0, 1}};
    ledger.queue = {offerRequest(7), mobileTriggerRequest(1)};
    ledger.queue.back().ticket = 8;
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

TEST_F(RequestsByAddress, that_broke_off_wait_for_the_address_that_they_name) {
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

TEST_F(RequestsByAddress,
       are_judged_by_the_address_that_the_host_sees_where_the_service_sees_none) {
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

} // namespace
} // namespace service::test
