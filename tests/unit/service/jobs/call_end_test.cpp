// SPDX-License-Identifier: MIT
// How an offer ends, or waits, by what is seen of the agent's call.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Outcomes : public DaemonTest {
  protected:
    // An offer whose call does this; returns once the call is over.
    std::uint64_t offerThat(const std::vector<Action> &actions, int policy = 0) {
        host_.on("new-image", actions);
        if (!daemon_) {
            startUp();
        }
        const std::uint64_t ticket = ticketOf(offer(policy));
        EXPECT_TRUE(turnUntil([&] {
            const Ledger now = kept();
            return !now.running && now.queue.empty();
        }));
        return ticket;
    }
};

struct OfferCase {
    const char *name;
    std::vector<Action> actions;
    Outcome outcome;
};

TEST_F(Outcomes, of_every_road_that_ends_with_its_call) {
    const OfferCase roads[] = {
        {"the version runs already", {report("NO_OTA_SW_UPGRADE")}, Outcome::notNeeded},
        {"the checksum is wrong",
         {stage("downloading"), stage("verifying"), report("OTA_CRC_CHECK_FAILED")},
         Outcome::checksumFailed},
        {"the bank does not take it",
         {stage("writing"), report("OTA_SW_FLASH_WRITE_FAILED")},
         Outcome::flashWriteFailed},
        {"seven attempts failed",
         {stage("downloading"), report("OTA_RECONNECT_BUE")},
         Outcome::downloadGaveUp},
        {"the activation failed with a word",
         {stage("writing"), stage("activating"), report("OTA_SW_ACTIVATION_FAILED")},
         Outcome::activationFailed},
        {"the activation failed without one", {stage("activating")}, Outcome::activationFailed},
        {"the activation failed, and the image was fetched and written",
         {stage("activating"), stage("downloading"), stage("verifying"), stage("writing")},
         Outcome::writtenOnly},
        {"written and left",
         {stage("writing"), report("OTA_SW_ACTIVATION_COMPLETE")},
         Outcome::writtenOnly},
        {"there already, and left", {report("OTA_SW_SWAP_PASSIVE")}, Outcome::writtenOnly},
        {"not handed over", {handOver()}, Outcome::rootUnreachable},
        {"without a word", {}, Outcome::interruptedNothingKnown},
    };
    for (const OfferCase &road : roads) {
        const std::uint64_t ticket = offerThat(road.actions);
        ASSERT_TRUE(turnUntil([&] { return finished(ticket); })) << road.name;
        EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(road.outcome))) << road.name;
        EXPECT_TRUE(idle()) << road.name;
        EXPECT_TRUE(road.outcome != Outcome::rootUnreachable ||
                    reasonCodeOf("finished") == "bus-missing")
            << reasonCodeOf("finished");
    }
    EXPECT_THAT(told("extender-file-server"),
                ElementsAre(HasSubstr("02:00:5E:10:00:01: the message bus is not connected")));
    EXPECT_EQ(reasonCodeOf("extender-file-server"), "bus-missing");
}

TEST_F(Outcomes, of_an_offer_with_a_timer_is_open_and_the_offer_waits) {
    const std::uint64_t ticket = offerThat(
        {stage("writing"), report("OTA_SW_SWAP_PASSIVE"), startTimer("rebootTimer", kLong)});
    EXPECT_THAT(codesOf(ticket), IsEmpty());
    EXPECT_EQ(calls().status().stage, "waiting");
    EXPECT_EQ(calls().status().ticket, ticket);
    EXPECT_EQ(calls().status().version, kNew);
    const Ledger now = kept();
    ASSERT_TRUE(now.waiting);
    EXPECT_EQ(now.waiting->offer.ticket, ticket);
    EXPECT_FALSE(now.waiting->activated);
    ASSERT_EQ(now.timers.size(), 1U);
    EXPECT_EQ(now.timers[0].name, "rebootTimer");
    EXPECT_EQ(now.memory, R"({"after":"new-image","turn":0})");
}

TEST_F(Outcomes, by_a_word_that_ends_the_offer_do_not_wait_for_its_timers) {
    const std::uint64_t ticket =
        offerThat({startTimer("rebootTimer", kLong), report("OTA_RECONNECT_BUE")});
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::downloadGaveUp)));
    EXPECT_FALSE(kept().waiting);
}

TEST_F(Outcomes, of_an_activated_offer_are_open_until_the_reboot) {
    const std::uint64_t ticket =
        offerThat({stage("writing"), stage("activating"), stage("rebooting"),
                   report("OTA_SW_ACTIVATION_COMPLETE")});
    EXPECT_THAT(codesOf(ticket), IsEmpty());
    EXPECT_EQ(calls().status().stage, "rebooting");
    const Ledger now = kept();
    ASSERT_TRUE(now.waiting);
    EXPECT_TRUE(now.waiting->activated);
    EXPECT_EQ(now.waiting->bank, "a");
}

TEST_F(Outcomes, of_an_offer_are_decided_by_the_call_of_its_timer) {
    host_.on("timer", {stage("writing"), report("OTA_SW_FLASH_WRITE_FAILED")});
    const std::uint64_t ticket = offerThat({startTimer("downloadStartTimer", 0)});
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::flashWriteFailed)));
    EXPECT_THAT(host_.events("timer"),
                ElementsAre(R"({"event":"timer","name":"downloadStartTimer"})"));
    EXPECT_TRUE(idle());
}

TEST_F(Outcomes, of_an_offer_stay_open_while_each_timer_starts_another) {
    host_.on("timer", {startTimer("downloadRetryTimer", 0)});
    host_.on("timer", {startTimer("rebootTimer", 0)});
    host_.on("timer", {stage("activating"), stage("rebooting")});
    const std::uint64_t ticket = offerThat({startTimer("downloadStartTimer", 0)});
    ASSERT_TRUE(turnUntil([&] { return host_.count("timer") == 3 && !kept().running; }));
    ASSERT_TRUE(turnUntil([&] { return kept().waiting && kept().waiting->activated; }));
    EXPECT_THAT(codesOf(ticket), IsEmpty());
    EXPECT_EQ(calls().status().stage, "rebooting");
}

TEST_F(Outcomes, of_an_offer_are_decided_by_the_trigger_that_moves_it) {
    host_.on("mobile-trigger", {stopTimer("downloadStartTimer"), stage("downloading"),
                                report("OTA_CRC_CHECK_FAILED")});
    const std::uint64_t ticket = offerThat({startTimer("downloadStartTimer", kLong)});
    const std::uint64_t asked = ticketOf(trigger());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::checksumFailed)));
    EXPECT_THAT(codesOf(asked), ElementsAre(0));
    EXPECT_TRUE(idle());
}

TEST_F(Outcomes, of_a_new_activation_time_leave_the_offer_waiting) {
    host_.on("activation-time", {startTimer("rebootTimer", kLong)});
    const std::uint64_t ticket = offerThat({startTimer("rebootTimer", kLong)});
    const std::uint64_t asked = ticketOf(activateAt("03:30"));
    ASSERT_TRUE(turnUntil([&] { return finished(asked); }));
    EXPECT_THAT(codesOf(asked), ElementsAre(0));
    EXPECT_THAT(codesOf(ticket), IsEmpty());
    EXPECT_EQ(calls().status().ticket, ticket);
    EXPECT_EQ(calls().status().timers.size(), 1U);
}

TEST_F(Outcomes, of_an_extender_that_no_root_takes_its_hand_over_from) {
    config_.workMode = "AP_Bridge";
    config_.workRole = "Agent";
    const std::uint64_t ticket = offerThat({handOver(), notifyRoot()});
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::rootUnreachable)));
    EXPECT_THAT(told("finished")[0], HasSubstr("no broker of the root is configured"));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "ack -1", "ack -1"));
    EXPECT_EQ(told("root-failed").size(), 2U);
    EXPECT_EQ(reasonCodeOf("root-failed"), "root-not-reached");
    EXPECT_EQ(reasonCodeOf("finished"), "root-not-reached");
}

} // namespace
} // namespace service::test
