// SPDX-License-Identifier: MIT
// An offer whose image waits in the passive bank for its time, and what comes in the meantime.
#include "tests/unit/service/daemon_fixture.h"

#include "service/loop.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::uint64_t kWaiting = 7;

class TheOfferThatWaits : public DaemonTest {
  protected:
    void start(const std::string &memory = R"({"reboot_flag":1})") {
        runFrom(node::Bank::a, kOld, kNew);
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = kWaiting + 1;
        ledger.memory = memory;
        ledger.waiting = WaitingOffer{offerRequest(kWaiting), "a", false, false};
        ledger.timers = {{"rebootTimer", kLong, bootNowMs() + 1000 * kLong, 0, 1}};
        keep(ledger);
        startUp();
        ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 1; }));
        turnWhileBusy();
    }

    void expectItWaitsOn() {
        EXPECT_THAT(codesOf(kWaiting), IsEmpty());
        ASSERT_TRUE(turnUntil([&] { return !kept().running; }));
        const Ledger now = kept();
        ASSERT_TRUE(now.waiting);
        EXPECT_EQ(now.waiting->offer.ticket, kWaiting);
        ASSERT_EQ(now.timers.size(), 1U);
        EXPECT_EQ(now.timers[0].name, "rebootTimer");
        EXPECT_EQ(calls().status().ticket, kWaiting);
        EXPECT_EQ(calls().status().stage, "waiting");
    }
};

TEST_F(TheOfferThatWaits, goes_on_where_the_next_one_comes_to_nothing) {
    struct Road {
        std::vector<Action> actions;
        Outcome outcome;
    };
    const Road roads[] = {
        {{report("NO_OTA_SW_UPGRADE")}, Outcome::notNeeded},
        {{stage("downloading"), stage("verifying"), report("OTA_CRC_CHECK_FAILED")},
         Outcome::checksumFailed},
        {{handOver()}, Outcome::rootUnreachable},
        {{}, Outcome::interruptedNothingKnown},
    };
    for (const Road &road : roads) {
        host_.on("new-image", road.actions);
    }
    start();
    for (const Road &road : roads) {
        const std::uint64_t next = ticketOf(offer(1, kOther));
        ASSERT_TRUE(turnUntil([&] { return finished(next); }));
        EXPECT_THAT(codesOf(next), ElementsAre(codeOf(road.outcome)));
        expectItWaitsOn();
    }
}

TEST_F(TheOfferThatWaits, gives_way_to_one_that_waits_itself) {
    host_.on("new-image", {stage("downloading"), startTimer("downloadRetryTimer", kLong)});
    start();
    const std::uint64_t next = ticketOf(offer(1, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(kWaiting); }));
    EXPECT_THAT(codesOf(kWaiting), ElementsAre(codeOf(Outcome::superseded)));
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value() && !kept().running; }));
    EXPECT_EQ(kept().waiting->offer.ticket, next);
}

TEST_F(TheOfferThatWaits, gives_way_to_the_same_image) {
    host_.on("new-image", {report("OTA_SW_SWAP_PASSIVE")});
    start();
    const std::uint64_t next = ticketOf(offer(0, kNew));
    ASSERT_TRUE(turnUntil([&] { return finished(kWaiting); }));
    EXPECT_THAT(codesOf(kWaiting), ElementsAre(codeOf(Outcome::superseded)));
    EXPECT_TRUE(turnUntil([&] { return kept().waiting && kept().waiting->offer.ticket == next; }));
}

TEST_F(TheOfferThatWaits, is_over_where_its_image_is) {
    host_.on("new-image",
             {stage("writing"), waitFor("emptied"), report("OTA_SW_FLASH_WRITE_FAILED")});
    start();
    const std::uint64_t next = ticketOf(offer(1, kOther));
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "writing"; }));
    runFrom(node::Bank::a, kOld, kOther);
    host_.release("emptied");
    ASSERT_TRUE(turnUntil([&] { return finished(next); }));
    EXPECT_THAT(codesOf(kWaiting), ElementsAre(codeOf(Outcome::superseded)));
    EXPECT_THAT(codesOf(next), ElementsAre(codeOf(Outcome::flashWriteFailed)));
}

TEST_F(TheOfferThatWaits, is_not_cancelled_with_an_activation_time_that_is_taken) {
    host_.on("activation-time", {hang()});
    start();
    const std::uint64_t time = ticketOf(activateAt("03:30"));
    ASSERT_TRUE(turnUntil([&] { return host_.count("activation-time") == 1; }));
    const ReplyRef reply = cancel(time);
    ASSERT_TRUE(turnUntil([&] { return reply->times == 1; }));
    EXPECT_FALSE(reply->refused) << reply->text;
    EXPECT_EQ(reply->ticket, time);
    EXPECT_THAT(codesOf(time), ElementsAre(codeOf(Outcome::cancelled)));
    expectItWaitsOn();
    EXPECT_THAT(host_.events("restore").back(), HasSubstr(R"("reboot_flag":1)"));
}

TEST_F(TheOfferThatWaits, is_not_cancelled_with_the_offer_behind_it_unless_it_is_named_too) {
    host_.on("new-image", {stage("downloading"), hang()});
    host_.on("new-image", {stage("downloading"), hang()});
    start();
    const std::uint64_t next = ticketOf(offer(1, kOther));
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    const ReplyRef one = cancel(next);
    ASSERT_TRUE(turnUntil([&] { return one->times == 1; }));
    EXPECT_THAT(codesOf(next), ElementsAre(codeOf(Outcome::cancelled)));
    expectItWaitsOn();
    const std::uint64_t third = ticketOf(offer(1, kOther));
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    const ReplyRef running = cancel(third);
    const ReplyRef waiting = cancel(kWaiting);
    ASSERT_TRUE(turnUntil([&] { return running->times == 1 && waiting->times == 1; }));
    EXPECT_THAT(codesOf(third), ElementsAre(codeOf(Outcome::cancelled)));
    EXPECT_THAT(codesOf(kWaiting), ElementsAre(codeOf(Outcome::cancelled)));
    EXPECT_THAT(calls().status().timers, IsEmpty());
}

TEST_F(TheOfferThatWaits, in_the_half_hour_before_its_swap_keeps_its_time) {
    const std::string memory = R"({"swActTime":{"actTime":"03:30"},"g_mAppRebootTrig":1,)"
                               R"("g_firstTimeObardingWindowGivenPSNWBuildSame":0})";
    host_.on("activation-time", {doneWith(R"({"deferred":0,"memory":)" + memory + "}")});
    start(R"({"g_firstTimeObardingWindowGivenPSNWBuildSame":0})");
    const std::uint64_t time = ticketOf(activateAt("03:30"));
    ASSERT_TRUE(turnUntil([&] { return finished(time); }));
    EXPECT_THAT(told("finished").back(), HasSubstr("is activated when its half hour ends"));
}

} // namespace
} // namespace service::test
