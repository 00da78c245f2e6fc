// SPDX-License-Identifier: MIT
// What is taken over and what is refused, and how that is told.
#include "daemon_fixture.h"

#include <filesystem>

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;

class RequestHandler : public DaemonTest {
  protected:
    void waitUntilAnswered(const ReplyRef &reply) const {
        ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
        EXPECT_EQ(reply->times, 1);
    }
};

// What the factory wrote need not look like what is offered since.
TEST_F(RequestHandler, takes_offers_whatever_version_the_factory_gave_the_node) {
    config_.lowestVersion = "4QZ-1.5.0";
    for (const char *const version : {"1.0", "V3.2-factory", "FACTORY_2026", "Build 17, test"}) {
        runFrom(node::Bank::a, version, version);
        host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        ASSERT_TRUE(turnUntil([&] { return finished(ticket); })) << version;
        EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::notNeeded).code)) << version;
        EXPECT_EQ(calls().status().banks.at(0).version, version);
    }
}

TEST_F(RequestHandler, tells_a_flood_of_refusals_in_one_line_and_answers_each) {
    startUp();
    constexpr int kMany = 1000;
    std::vector<ReplyRef> replies;
    for (int number = 0; number < kMany; ++number) {
        replies.push_back(offerText("{\"" + std::to_string(number) + "\":0}"));
        EXPECT_EQ(replies.back()->times, 1);
        EXPECT_EQ(replies.back()->refused, Outcome::keyMissing);
    }
    EXPECT_LE(told("refused").size(), 40U);
    ASSERT_TRUE(turnUntil([&] { return told("refused").back().ends_with("left out"); }));
    const std::vector<std::string> lines = told("refused");
    EXPECT_THAT(lines.back(), HasSubstr("bus, user 0: and " +
                                        std::to_string(kMany + 1 - lines.size()) + " more"));
}

TEST_F(RequestHandler, tells_what_others_do_whoever_floods_it) {
    startUp();
    calls().calledBy(1000);
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(change("onboarding", "rubbish" + std::to_string(number))->refused,
                  Outcome::settingMalformed);
    }
    calls().calledBy(0);
    EXPECT_EQ(change("onboarding", "2")->refused, Outcome::settingMalformed);
    EXPECT_THAT(told("refused").back(), HasSubstr("\"2\"")) << "it has a budget of its own";
    const ReplyRef first = change("onboarding", "1");
    waitUntilAnswered(first);
    waitUntilAnswered(change("onboarding", "1"));
    waitUntilAnswered(change("onboarding", "0"));
    EXPECT_THAT(told("setting-changed"), ElementsAre("0 0 onboarding is 1", "0 0 onboarding is 0"));
    ASSERT_TRUE(turnUntil([&] { return told("refused").back().ends_with("left out"); }));
    EXPECT_THAT(told("refused").back(), HasSubstr("bus, user 1000: and 60 more"));
}

TEST_F(RequestHandler, takes_so_many_requests_of_one_user_and_says_when_to_send_the_next) {
    startUp();
    calls().calledBy(1000);
    ReplyRef refused;
    int taken = 0;
    for (int number = 0; number < 200 && refused == nullptr; ++number) {
        const ReplyRef reply = trigger();
        ASSERT_TRUE(turnUntil([&] { return reply->times > 0; }));
        if (reply->refused == Outcome::tooMany) {
            refused = reply;
        } else if (!reply->refused) {
            ++taken;
            ASSERT_TRUE(turnUntil([&] { return finished(reply->ticket); }));
        }
    }
    ASSERT_NE(refused, nullptr);
    EXPECT_GE(taken, SenderLimit::kBudget);
    EXPECT_THAT(refused->text, HasSubstr("caller: user 1000 has sent more requests than one user "
                                         "may; try again in "));
    EXPECT_EQ(change("onboarding", "1")->refused, Outcome::tooMany);
    EXPECT_EQ(activateAt("03:30")->refused, Outcome::tooMany);
    EXPECT_EQ(offer()->refused, Outcome::tooMany);
    calls().calledBy(1001);
    EXPECT_NE(ticketOf(trigger()), 0U);
    calls().calledBy(0);
    for (int number = 0; number < SenderLimit::kBudget + 5; ++number) {
        const std::uint64_t ticket = ticketOf(trigger());
        ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    }
}

TEST_F(RequestHandler, refuses_what_the_guard_refuses_and_tells_it_with_its_code) {
    startUp();
    struct Row {
        ReplyRef reply;
        Outcome outcome;
        const char *field;
    };
    const Row rows[] = {
        {offerText("{}"), Outcome::keyMissing, "model"},
        {offer(4), Outcome::policyOutOfRange, "policy"},
        {offer(0, "4QZ-$(reboot)"), Outcome::versionMalformed, "nxtMSVersion"},
        {activateAt("25:00"), Outcome::timeMalformed, "actTime"},
        {change("model", "x"), Outcome::settingUnknown, "model"},
        {change("onboarding", "2"), Outcome::settingMalformed, "onboarding"},
    };
    std::vector<std::string> expected;
    for (const Row &row : rows) {
        ASSERT_EQ(row.reply->times, 1);
        EXPECT_EQ(row.reply->refused, row.outcome) << row.reply->text;
        EXPECT_THAT(row.reply->text, HasSubstr(row.field));
        expected.push_back("0 " + std::to_string(base::rowOf(row.outcome).code) + " " +
                           row.reply->text);
    }
    EXPECT_EQ(told("refused"), expected);
    turnWhileBusy();
    EXPECT_THAT(host_.heard(), ElementsAre("start-up"));
    EXPECT_FALSE(std::filesystem::exists(config_.overlayPath()));
}

TEST_F(RequestHandler, refuses_flags_out_of_range) {
    startUp();
    std::optional<Outcome> refused;
    calls().offerImage(
        descriptorOf(0, kNew), {256, 0, 0},
        [&](const guard::Refusal *refusal, std::uint64_t) { refused = refusal->outcome; });
    EXPECT_EQ(refused, Outcome::flagOutOfRange);
}

TEST_F(RequestHandler, judges_by_the_rules_of_the_configuration) {
    config_.lowestVersion = kOther;
    startUp();
    EXPECT_EQ(offer()->refused, Outcome::versionBelowFloor);
    EXPECT_NE(ticketOf(offer(0, kOther)), 0U);
}

TEST_F(RequestHandler, explains_what_was_refused_last_and_how_the_last_request_ended) {
    host_.on("new-image", {report("OTA_CRC_CHECK_FAILED")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    const std::string refusal = offer(4)->text;
    std::string all;
    for (const auto &[topic, sentence] : calls().explain()) {
        all += sentence + "\n";
    }
    EXPECT_THAT(all, HasSubstr(refusal));
    EXPECT_THAT(all, HasSubstr("OTA_CRC_CHECK_FAILED"));
}

} // namespace
} // namespace service::test
