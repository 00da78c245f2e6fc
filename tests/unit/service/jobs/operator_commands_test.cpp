// SPDX-License-Identifier: MIT
// What operators decide about a bank on trial and about versions that failed.
#include "tests/unit/service/jobs/trial_fixture.h"

#include "base/json.h"

namespace service::test {
namespace {

using base::Outcome;
using node::Bank;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class CommandsOnTrial : public OnTrial {};

TEST_F(CommandsOnTrial, a_commit_of_a_good_bank_is_refused) {
    put(stateOf(Bank::b, false));
    startUp();
    const ReplyRef reply = commit();
    ASSERT_TRUE(answered(reply));
    EXPECT_EQ(reply->refused, Outcome::nothingToCommit);
    EXPECT_EQ(reply->text, "bank: bank b (4QZ-2.0.0) is committed already");
}

TEST_F(CommandsOnTrial, a_commit_is_answered_when_the_host_has_done_it) {
    put(stateOf(Bank::b, true));
    put(stateOf(Bank::b, false), "good-state");
    host_.on("commit", {waitFor("go"), copy("good-state", "boot-state")});
    startUp();
    EXPECT_EQ(explained("trial"), "Bank b (4QZ-2.0.0) runs on trial, 2 boot attempts left: "
                                  "nothing marks it good before the next boot; otactl commit does "
                                  "it now.\n");
    const ReplyRef reply = commit();
    turnWhileBusy();
    EXPECT_EQ(reply->times, 0);
    const ReplyRef second = commit();
    ASSERT_TRUE(answered(second));
    EXPECT_EQ(second->refused, Outcome::notReady);
    host_.release("go");
    ASSERT_TRUE(answered(reply));
    EXPECT_FALSE(reply->refused) << reply->text;
    EXPECT_FALSE(calls().status().bankTrials.at(1).trial);
    EXPECT_THAT(told("committed"), ElementsAre("0 0 bank b, by an operator"));
    EXPECT_EQ(host_.count("commit"), 1U);
    const std::uint64_t ticket = ticketOf(offer(1, kOther));
    EXPECT_TRUE(turnUntil([&] { return finished(ticket); })) << "the agent is idle again";
}

TEST_F(CommandsOnTrial, a_commit_waits_for_nothing) {
    put(stateOf(Bank::b, true));
    host_.on("new-image", {waitFor("go")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer(1, kOther));
    ASSERT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
    const ReplyRef reply = commit();
    ASSERT_TRUE(answered(reply));
    EXPECT_EQ(reply->refused, Outcome::notReady);
    EXPECT_EQ(reply->text, "node: the agent is busy with ticket " + std::to_string(ticket));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("commit"), 0U);
}

TEST_F(CommandsOnTrial, a_commit_that_fails_is_answered_with_the_reason) {
    put(stateOf(Bank::b, true));
    host_.on("commit", {doneWith(R"({"failed":"the disk is full"})")});
    host_.on("commit", {exitWith(3)});
    startUp();
    const ReplyRef failed = commit();
    ASSERT_TRUE(answered(failed));
    EXPECT_EQ(failed->refused, Outcome::failed);
    EXPECT_THAT(failed->text, HasSubstr("the disk is full"));
    const ReplyRef crashed = commit();
    ASSERT_TRUE(answered(crashed));
    EXPECT_EQ(crashed->refused, Outcome::failed);
    EXPECT_THAT(crashed->text, HasSubstr("the host process ended over it"));
    EXPECT_THAT(told("committed"), IsEmpty());
    EXPECT_EQ(crashed->times, 1);
}

TEST_F(CommandsOnTrial, a_version_that_failed_is_refused_until_it_is_forgotten) {
    put(failedState(node::TrialFailure::health));
    put(stateOf(Bank::a, false), "clean-state");
    host_.on("forget", {copy("clean-state", "boot-state")});
    startUp();
    const ReplyRef refused = offer(1, kNew);
    EXPECT_EQ(refused->refused, Outcome::versionFailedTrial);
    EXPECT_EQ(refused->text, "nxtMSVersion: \"4QZ-2.0.0\" failed its trial on this node once: its "
                             "health check failed");
    ticketOf(offer(1, kOther));
    ASSERT_TRUE(turnUntil([&] { return idle(); }));
    const ReplyRef unknown = forget("4QZ-2.0");
    ASSERT_TRUE(answered(unknown));
    EXPECT_EQ(unknown->refused, Outcome::nothingToForget);
    EXPECT_EQ(host_.count("forget"), 0U);
    const ReplyRef done = forget(kNew);
    ASSERT_TRUE(answered(done));
    EXPECT_FALSE(done->refused) << done->text;
    EXPECT_THAT(host_.events("forget"), ElementsAre(R"({"event":"forget","version":"4QZ-2.0.0"})"));
    EXPECT_THAT(told("forgotten"), ElementsAre("0 0 it may be offered again"));
    ticketOf(offer(1, kNew));
}

} // namespace
} // namespace service::test
