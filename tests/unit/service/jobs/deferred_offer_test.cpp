// SPDX-License-Identifier: MIT
// An offer that the agent puts off: kept, told, and taken up once the settings allow it.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const char *const kPutOff = R"({"deferred":1,"memory":{"g_ISDeferedUpgrade":1}})";

class AnOfferThatIsPutOff : public DaemonTest {
  protected:
    void waitUntilAnswered(const ReplyRef &reply) const {
        ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
        EXPECT_EQ(reply->times, 1);
    }

    // An offer that the agent puts off when its window ends.
    std::uint64_t offerThatIsPutOff() {
        host_.on("new-image", {startTimer("downloadStartTimer", 0)});
        host_.on("timer", {doneWith(kPutOff)});
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] { return kept().waiting && kept().waiting->deferred; }));
        return ticket;
    }
};

TEST_F(AnOfferThatIsPutOff, is_shown_and_kept) {
    config_.onboarding = 1;
    const std::uint64_t ticket = offerThatIsPutOff();
    EXPECT_TRUE(calls().status().deferred);
    EXPECT_EQ(calls().status().stage, "waiting");
    EXPECT_EQ(calls().status().ticket, ticket);
    EXPECT_THAT(told("deferred"),
                ElementsAre(std::to_string(ticket) + " 63 the node is being onboarded"));
    EXPECT_EQ(reasonCodeOf("deferred"), "onboarding");
    EXPECT_THAT(codesOf(ticket), IsEmpty());
}

TEST_F(AnOfferThatIsPutOff, is_taken_up_when_onboarding_ends) {
    config_.onboarding = 1;
    const std::uint64_t ticket = offerThatIsPutOff();
    host_.on("timer", {report("NO_OTA_SW_UPGRADE")});
    waitUntilAnswered(change("onboarding", "1"));
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 1U);
    waitUntilAnswered(change("onboarding", "0"));
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "ack 0", "timer", "restore",
                                           "timer", "ack -1"));
    EXPECT_THAT(host_.events("restore")[0], HasSubstr(R"("g_ISDeferedUpgrade":0)"));
    EXPECT_THAT(host_.events("timer")[1], HasSubstr("downloadStartTimer"));
    EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::notNeeded).code));
    EXPECT_FALSE(calls().status().deferred);
    EXPECT_TRUE(idle());
}

TEST_F(AnOfferThatIsPutOff, with_its_image_written_is_activated_when_onboarding_ends) {
    config_.onboarding = 1;
    runFrom(node::Bank::a, kOld, kNew);
    offerThatIsPutOff();
    waitUntilAnswered(change("onboarding", "0"));
    ASSERT_TRUE(turnUntil([&] { return host_.count("timer") == 2; }));
    EXPECT_THAT(host_.events("timer")[1], HasSubstr("rebootTimer"));
}

TEST_F(AnOfferThatIsPutOff, is_taken_up_when_the_configuration_ended_the_onboarding) {
    config_.onboarding = 1;
    const std::uint64_t ticket = offerThatIsPutOff();
    stop();
    startUp();
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 1U) << "it is still 1";
    stop();
    config_.onboarding = 0;
    host_.on("timer", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("timer"), 2U);
    EXPECT_THAT(host_.events("restore").back(), HasSubstr(R"("g_ISDeferedUpgrade":0)"));
}

TEST_F(AnOfferThatIsPutOff, until_the_node_is_a_gateway_is_not_told_as_an_onboarding) {
    config_.workMode = "AP_Bridge";
    config_.workRole = "Agent";
    const std::uint64_t ticket = offerThatIsPutOff();
    ASSERT_EQ(told("deferred").size(), 1U);
    EXPECT_THAT(told("deferred")[0],
                HasSubstr(" 63 the node is no gateway now (work mode AP_Bridge"));
    EXPECT_EQ(reasonCodeOf("deferred"), "not-a-gateway");
    EXPECT_THAT(explained("now") + explained("next"), Not(HasSubstr("onboard")));
    waitUntilAnswered(change("onboarding", "0"));
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 1U) << "the agent would put it off again";
    host_.on("timer", {report("NO_OTA_SW_UPGRADE")});
    waitUntilAnswered(change("work_mode", "RGW"));
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("timer"), 2U);
}

TEST_F(AnOfferThatIsPutOff, while_onboarding_ends_is_taken_up) {
    config_.onboarding = 1;
    host_.on("new-image", {startTimer("downloadStartTimer", 0)});
    host_.on("timer", {waitFor("go"), doneWith(kPutOff)});
    host_.on("timer", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("timer") == 1; }));
    waitUntilAnswered(change("onboarding", "0"));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("timer"), 2U);
}

TEST_F(AnOfferThatIsPutOff, leaves_no_mark_on_the_one_behind_it) {
    config_.onboarding = 1;
    host_.on("new-image", {startTimer("downloadStartTimer", 0)});
    host_.on("new-image", {stage("writing"), doneWith(kPutOff)});
    host_.on("timer", {doneWith(kPutOff)});
    startUp();
    const std::uint64_t first = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().waiting && kept().waiting->deferred; }));
    const std::uint64_t second = ticketOf(offer(2, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(first), ElementsAre(base::rowOf(Outcome::superseded).code));
    EXPECT_FALSE(calls().status().deferred);
    EXPECT_THAT(explained("now"), Not(HasSubstr("put off")));
    ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 1; }));
    EXPECT_THAT(host_.events("restore")[0], HasSubstr(R"("g_ISDeferedUpgrade":0)"));
}

} // namespace
} // namespace service::test
