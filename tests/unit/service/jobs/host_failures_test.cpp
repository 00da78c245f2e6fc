// SPDX-License-Identifier: MIT
// The host ends by itself in every state: told, survived, and what it worked on done again.
#include "tests/unit/service/daemon_fixture.h"

#include "base/json.h"

#include <csignal>

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Crash : public DaemonTest {
  protected:
    // An offer whose call was broken off this often by a crash.
    Ledger withCrashes(int crashes) const {
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = 8;
        ledger.memory = R"({"after":"an earlier call"})";
        ledger.running = Running{offerRequest(7), 1, crashes, "a", false};
        return ledger;
    }
};

TEST_F(Crash, in_a_call_is_told_and_the_call_done_again_with_the_memory_of_before) {
    host_.on("new-image",
             {stage("downloading"), startTimer("downloadRetryTimer", kLong), dieOf(SIGKILL)});
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t before = ticketOf(activateAt("03:30"));
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(before) && !told("host-crashed").empty(); }));
    EXPECT_EQ(calls().status().stage, "waiting") << "the call is over, the offer is not";
    EXPECT_THAT(calls().status().timers, IsEmpty());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "activation-time", "new-image", "ack 0",
                                           "start-up", "restore", "new-image", "ack -1"));
    const base::Json restore = base::parsed(host_.events("restore")[0]);
    const cJSON *const memory = base::itemOf(restore.get(), "memory");
    EXPECT_EQ(base::textOf(memory, "after"), "activation-time");
    EXPECT_THAT(host_.events("start-up"), ElementsAre(HasSubstr(R"("commitCheck":true)"),
                                                      HasSubstr(R"("commitCheck":false)")));
    EXPECT_THAT(told("host-crashed"),
                ElementsAre(std::to_string(ticket) + " 61 it was ended by signal 9"));
    EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::notNeeded).code));
    EXPECT_THAT(calls().status().timers, IsEmpty());
}

TEST_F(Crash, is_counted_on_the_disk) {
    host_.on("new-image", {exitWith(3)});
    startUp();
    ticketOf(offer());
    EXPECT_TRUE(turnUntil([&] {
        const Ledger now = kept();
        return now.running && now.running->crashes == 1;
    }));
}

TEST_F(Crash, for_the_third_time_gives_the_request_up_and_takes_back_what_it_left) {
    keep(withCrashes(2));
    host_.on("new-image", {exitWith(3)});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(7) && idle() && !kept().running; }));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::hostCrashed).code));
    EXPECT_THAT(host_.heard(),
                ElementsAre("start-up", "restore", "new-image", "start-up", "abandon", "restore"));
    const std::uint64_t next = ticketOf(offer(0, kOther));
    EXPECT_TRUE(turnUntil([&] { return finished(next); }));
}

TEST_F(Crash, while_it_takes_back_a_request_given_up_begins_that_again) {
    keep(withCrashes(3));
    host_.on("abandon", {exitWith(3)});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return host_.count("abandon") == 2 && idle(); }));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::hostCrashed).code));
    EXPECT_EQ(host_.count("new-image"), 0U);
}

TEST_F(Crash, of_start_up_is_not_the_fault_of_the_request_that_waits) {
    keep(withCrashes(2));
    host_.on("start-up", {exitWith(3)});
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    start();
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::notNeeded).code));
}

TEST_F(Crash, of_the_restoring_restores_again) {
    keep(withCrashes(2));
    host_.on("restore", {exitWith(3)});
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    start();
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(host_.heard(),
                ElementsAre("start-up", "restore", "start-up", "restore", "new-image", "ack -1"));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::notNeeded).code));
}

TEST_F(Crash, while_the_request_is_being_kept_leaves_it_to_the_next_host) {
    host_.on("activation-time", {doneWith("{}"), waitFor("go"), exitWith(3)});
    startUp();
    const std::uint64_t before = ticketOf(activateAt("03:30"));
    ASSERT_TRUE(turnUntil([&] { return finished(before); }));
    std::uint64_t ticket = 0;
    calls().offerImage(descriptorOf(0, kNew), {0, 0, 0},
                       [&](const guard::Refusal *, std::uint64_t given) {
                           ticket = given;
                           breakStateDirectory();
                       });
    ASSERT_TRUE(turnUntil([&] { return ticket != 0; }));
    turnWhileBusy();
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return !told("host-crashed").empty(); }));
    EXPECT_EQ(host_.count("new-image"), 0U);
    mendStateDirectory();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
}

// Whoever asks learns why nothing begins, and nothing is taken over meanwhile.
TEST_F(Crash, of_a_host_that_says_why_it_cannot_start_is_told_with_that_everywhere) {
    const std::string why = "/boot/state: no copy of the boot state is whole";
    for (int times = 0; times < 2; ++times) {
        host_.on("start-up",
                 {say(R"({"note":"last-words","reason":"boot-state-unreadable","text":")" + why +
                      R"("})"),
                  exitWith(1)});
    }
    host_.on("start-up", {waitFor("mended")});
    start();
    ASSERT_TRUE(turnUntil([&] { return told("host-crashed").size() == 2; }));
    EXPECT_THAT(told("host-crashed")[0], HasSubstr("it ended with code 1: " + why));
    EXPECT_EQ(reasonCodeOf("host-crashed"), "boot-state-unreadable");
    const NodeStatus &status = calls().status();
    EXPECT_EQ(status.stage, "waiting");
    EXPECT_EQ(status.waitReasonCode, "boot-state-unreadable");
    EXPECT_EQ(status.waitReason, why);
    EXPECT_THAT(explained("agent"), HasSubstr("The host process crashed 2 times in a row: " + why +
                                              " (boot-state-unreadable); it is started again in "));
    const ReplyRef commit = std::make_shared<Reply>();
    const ReplyRef forget = std::make_shared<Reply>();
    calls().commit(answerInto(commit));
    calls().forget(kNew, answerInto(forget));
    for (const ReplyRef &reply : {offer(), trigger(), activateAt("03:30"), commit, forget}) {
        EXPECT_EQ(reply->refused, Outcome::notReady);
        EXPECT_EQ(reply->text, "node: the agent cannot start: " + why + " (boot-state-unreadable)");
    }
    host_.release("mended");
    ASSERT_TRUE(turnUntil([&] { return hasStarted() && idle(); }));
    EXPECT_EQ(status.waitReason, "");
    EXPECT_EQ(status.waitReasonCode, "");
    const std::uint64_t ticket = ticketOf(offer());
    EXPECT_TRUE(turnUntil([&] { return finished(ticket); }));
}

TEST_F(Crash, of_what_the_host_could_not_do_is_none) {
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE"), doneWith(R"({"failed":"half of it"})")});
    startUp();
    testing::internal::CaptureStderr();
    const std::uint64_t ticket = ticketOf(offer());
    const bool ended = turnUntil([&] { return finished(ticket); });
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("half of it"));
    ASSERT_TRUE(ended);
    EXPECT_THAT(told("host-crashed"), IsEmpty());
}

} // namespace
} // namespace service::test
