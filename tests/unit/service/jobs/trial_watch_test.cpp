// SPDX-License-Identifier: MIT
// A bank on trial, as the service tells it.
#include "tests/unit/service/jobs/trial_fixture.h"

#include "base/json.h"

#include <filesystem>
#include <sys/stat.h>

namespace service::test {
namespace {

using base::Outcome;
using node::Bank;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(OnTrial, the_running_bank_is_told_until_it_is_committed) {
    put(stateOf(Bank::b, true));
    put(stateOf(Bank::b, false), "good-state");
    host_.on("start-up", {stage("committing"), say(kTrialNote), waitFor("health"), stage("idle"),
                          waitFor("agent"), copy("good-state", "boot-state"), say(kCommittedNote)});
    start();
    ASSERT_TRUE(turnUntil([&] { return !told("trial").empty(); }));
    EXPECT_THAT(told("trial"), ElementsAre("0 0 bank b, boot attempts left: 2"));
    EXPECT_EQ(calls().status().stage, "committing");
    EXPECT_TRUE(calls().status().bankTrials.at(1).trial);
    EXPECT_EQ(calls().status().bankTrials.at(1).attempts, 2U);
    EXPECT_FALSE(calls().status().bankTrials.at(0).trial);
    EXPECT_EQ(explained("trial"), "Bank b (4QZ-2.0.0) runs on trial, 2 boot attempts left: its "
                                  "health command runs, at most 7 s.\n");
    host_.release("health");
    ASSERT_TRUE(turnUntil([&] {
        return explained("trial") == "Bank b (4QZ-2.0.0) runs on trial, 2 boot attempts left: it "
                                     "is marked good once the agent has started and checked the "
                                     "commit.\n";
    })) << explained("trial");
    host_.release("agent");
    ASSERT_TRUE(turnUntil([&] { return hasStarted(); }));
    EXPECT_THAT(told("committed"), ElementsAre("0 0 bank b"));
    EXPECT_FALSE(calls().status().bankTrials.at(1).trial);
    EXPECT_EQ(explained("trial"), "");
}

TEST_F(OnTrial, a_bank_that_fails_is_told_and_the_node_waits_for_its_reboot) {
    put(stateOf(Bank::b, true));
    node::BootState lost = stateOf(Bank::b, false);
    lost.next = Bank::a;
    node::rememberFailure(lost, kNew, node::TrialFailure::health);
    put(lost, "lost-state");
    host_.on("start-up", {stage("committing"), say(kTrialNote), say(kFailedNote),
                          copy("lost-state", "boot-state"), stage("rebooting"), hang()});
    start();
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "rebooting"; }));
    EXPECT_THAT(told("trial-failed"), ElementsAre("0 55 the health command ended with 3"));
    EXPECT_EQ(nextOf("trial-failed"), base::rowOf(base::Reason::healthFailed).remedy);
    EXPECT_TRUE(calls().status().banks.at(0).next);
    EXPECT_THAT(explained("trial"),
                HasSubstr("Bank b (4QZ-2.0.0) failed its trial and the node reboots into bank a "
                          "(4QZ-1.0.0).\n"));
    const ReplyRef reply = commit();
    ASSERT_TRUE(answered(reply));
    EXPECT_EQ(reply->text, "bank: bank b (4QZ-2.0.0) failed its trial: health; bank a (4QZ-1.0.0) "
                           "boots next");
    EXPECT_EQ(offer(1, kNew)->refused, Outcome::versionFailedTrial);
}

TEST_F(OnTrial, an_activated_bank_that_has_not_booted_is_explained) {
    put(stateOf(Bank::a, true));
    startUp();
    EXPECT_EQ(explained("trial"), "Bank b (4QZ-2.0.0) is activated and has not booted yet: the "
                                  "next boot puts it on trial, with 2 boot attempts.\n");
    const ReplyRef reply = commit();
    ASSERT_TRUE(answered(reply));
    EXPECT_EQ(reply->refused, Outcome::nothingToCommit);
    EXPECT_EQ(reply->text, "bank: bank a (4QZ-1.0.0) runs; bank b (4QZ-2.0.0) is on trial and has "
                           "not booted yet");
}

TEST_F(OnTrial, the_old_bank_tells_why_it_runs_and_what_is_refused) {
    put(failedState(node::TrialFailure::boot));
    startUp();
    EXPECT_EQ(explained("trial"),
              "Bank a (4QZ-1.0.0) runs, since bank b (4QZ-2.0.0) failed its trial: its boot "
              "attempts were used up.\n"
              "4QZ-2.0.0 failed its trial once, its boot attempts were used up: offers of it are "
              "refused; otactl forget 4QZ-2.0.0 lets it in again.\n");
    const ReplyRef reply = commit();
    ASSERT_TRUE(answered(reply));
    EXPECT_EQ(reply->refused, Outcome::nothingToCommit);
    EXPECT_EQ(reply->text,
              "bank: bank a (4QZ-1.0.0) runs; bank b (4QZ-2.0.0) failed its trial: boot");
    EXPECT_EQ(host_.count("commit"), 0U);
}

TEST_F(OnTrial, a_bank_that_could_not_be_marked_good_is_explained) {
    put(stateOf(Bank::b, true));
    host_.on("start-up", {stage("committing"), say(kTrialNote), stage("idle"),
                          say(R"({"note":"not-committed","bank":"b","version":"4QZ-2.0.0",)"
                              R"("reason":"the disk is full"})")});
    startUp();
    EXPECT_THAT(told("not-committed"), ElementsAre("0 1 the disk is full"));
    EXPECT_THAT(explained("trial"), HasSubstr("it could not be marked good: the disk is full; "
                                              "otactl commit tries again."));
}

TEST_F(OnTrial, a_version_is_refused_only_after_as_many_failures_as_configured) {
    config_.refuseAfterTrials = 2;
    put(failedState(node::TrialFailure::health));
    startUp();
    EXPECT_THAT(explained("trial"), HasSubstr("it may be offered again, and is refused after 2 "
                                              "failed trials."));
    ticketOf(offer(1, kNew));
}

TEST_F(OnTrial, what_was_told_last_of_the_banks_holds_where_the_host_cannot_read_them) {
    put(failedState(node::TrialFailure::health));
    host_.on("new-image", {waitFor("go")});
    startUp();
    ticketOf(offer(1, kOther));
    std::filesystem::rename(in("boot-state"), in("away"));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return idle(); }));
    EXPECT_EQ(calls().status().banks.size(), 2U);
    EXPECT_EQ(offer(1, kNew)->refused, Outcome::versionFailedTrial);
}

// Whoever holds the boot state, or hangs in it, is waited for by the host alone.
TEST_F(OnTrial, nothing_of_the_daemon_opens_the_boot_state) {
    startUp();
    std::filesystem::remove(in("boot-state"));
    ASSERT_EQ(mkfifo(in("boot-state").c_str(), 0600), 0);
    const ReplyRef reply = commit();
    ASSERT_TRUE(answered(reply));
    EXPECT_EQ(reply->refused, Outcome::nothingToCommit);
    EXPECT_EQ(forget(kNew)->refused, Outcome::nothingToForget);
    EXPECT_EQ(calls().status().banks.size(), 2U);
}

// The power went between the activation and its note; the new bank booted and failed.
TEST_F(OnTrial, an_offer_whose_version_failed_ends_as_not_committed) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 8;
    ledger.running = Running{offerRequest(7, 1), 1, 0, "a", false};
    keep(ledger);
    node::BootState state = stateOf(Bank::a, false);
    state.trial = Bank::b;
    state.attemptsOf(Bank::b) = 0;
    put(state);
    put(failedState(node::TrialFailure::boot), "settled-state");
    host_.on("start-up", {copy("settled-state", "boot-state"), say(kFailedNote)});
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(codesOf(7), ElementsAre(55));
    EXPECT_THAT(told("finished").back(),
                HasSubstr("4QZ-2.0.0 failed its trial (boot): bank a with 4QZ-1.0.0 runs again"));
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U) << "it is not done again";
}

TEST_F(OnTrial, a_request_remembers_how_often_its_version_had_failed) {
    config_.refuseAfterTrials = 0;
    put(failedState(node::TrialFailure::health));
    host_.on("new-image", {copy("state/requests.json", "seen"), waitFor("go")});
    startUp();
    ticketOf(offer(1, kNew));
    ASSERT_TRUE(turnUntil([&] { return std::filesystem::exists(in("seen")); }));
    ASSERT_TRUE(turnUntil([&] { return ledgerIn("seen").running.has_value(); }));
    EXPECT_EQ(ledgerIn("seen").running->failedTrials, 1);
}

} // namespace
} // namespace service::test
