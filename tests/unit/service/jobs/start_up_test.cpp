// SPDX-License-Identifier: MIT
// Another daemon on what an earlier one kept: in the same boot, and after another one.
#include "tests/unit/service/daemon_fixture.h"

#include <ctime>
#include <filesystem>
#include <fstream>

namespace service::test {
namespace {

namespace fs = std::filesystem;
using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class Restart : public DaemonTest {
  protected:
    // The daemon ends in the middle of an offer's call.
    std::uint64_t breakOffACall() {
        host_.on("new-image", {stage("downloading"), waitFor("never")});
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] { return host_.count("new-image") == 1; }));
        stop();
        return ticket;
    }

    // An offer of this policy was activated, and the daemon ended.
    std::uint64_t activate(int policy = 0) {
        host_.on("new-image", {stage("activating"), stage("rebooting")});
        startUp();
        const std::uint64_t ticket = ticketOf(offer(policy));
        EXPECT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
        stop();
        return ticket;
    }

    static ArmedTimer endingIn(const std::string &name, int seconds) {
        const std::int64_t now = std::time(nullptr);
        return {name, kLong, bootNowMs() + seconds * 1000, now + seconds - kLong, now + seconds};
    }
};

TEST_F(Restart, does_the_call_again_that_broke_off) {
    const std::uint64_t ticket = breakOffACall();
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::notNeeded)));
    EXPECT_THAT(host_.events("restore"), ElementsAre(HasSubstr(R"("after":"start-up")")));
    EXPECT_EQ(host_.count("new-image"), 2U);
    EXPECT_THAT(host_.events("start-up"), ElementsAre(HasSubstr(R"("commitCheck":true)"),
                                                      HasSubstr(R"("commitCheck":false)")));
    EXPECT_THAT(told("taken-up"), ElementsAre(std::to_string(ticket) + " 0 it had broken off"));
    EXPECT_THAT(told("boot").size(), 1U);
}

// What it wrote is not there for it: it would be scheduled as an image that waited already.
TEST_F(Restart, does_a_call_again_that_wrote_its_image_as_it_was_done_the_first_time) {
    const std::uint64_t ticket = breakOffACall();
    runFrom(node::Bank::a, kOld, kNew);
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "start-up", "restore",
                                           "begin-anew", "new-image", "ack -1"));
}

TEST_F(Restart, tells_that_the_written_image_could_not_be_given_up) {
    const std::uint64_t ticket = breakOffACall();
    runFrom(node::Bank::a, kOld, kNew);
    host_.on("begin-anew", {doneWith(R"({"failed":"this platform gives none up"})")});
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(told("taken-up"), ElementsAre(std::to_string(ticket) + " " +
                                              std::to_string(codeOf(Outcome::waiting)) +
                                              " it had broken off; this platform gives none up"));
    EXPECT_EQ(reasonCodeOf("taken-up"), "image-not-given-up");
}

TEST_F(Restart, does_a_call_again_for_which_the_image_waited_with_the_image) {
    runFrom(node::Bank::a, kOld, kNew);
    const std::uint64_t ticket = breakOffACall();
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("begin-anew"), 0U);
}

TEST_F(Restart, after_another_boot_checks_the_commit_and_does_the_call_again) {
    const std::uint64_t ticket = breakOffACall();
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE")});
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(host_.events("start-up")[1], HasSubstr(R"("commitCheck":true)"));
    EXPECT_THAT(told("boot").size(), 2U);
    ASSERT_TRUE(turnUntil([&] { return kept().bootId == "boot-2"; }));
}

TEST_F(Restart, keeps_the_order_of_what_waits) {
    breakOffACall();
    Ledger ledger = kept();
    ledger.queue.push_back({ledger.nextTicket++, kMobileTrigger,
                            R"({"event":"mobile-trigger","newswavailflag":1})", "", 0});
    ledger.queue.push_back(offerRequest(ledger.nextTicket++, 0, kOther));
    keep(ledger);
    startUp();
    const std::uint64_t last = ledger.nextTicket - 1;
    ASSERT_TRUE(turnUntil([&] { return finished(last); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "start-up", "restore",
                                           "new-image", "mobile-trigger", "new-image"));
    EXPECT_GT(ticketOf(trigger()), last);
}

TEST_F(Restart, takes_up_an_offer_that_waits_for_its_timer) {
    host_.on("new-image", {startTimer("rebootTimer", kLong)});
    host_.on("timer", {stage("activating"), report("OTA_SW_ACTIVATION_FAILED")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    stop();
    startUp();
    ASSERT_TRUE(turnUntil([&] { return !told("taken-up").empty(); }));
    EXPECT_EQ(calls().status().ticket, ticket);
    EXPECT_EQ(calls().status().stage, "waiting");
    ASSERT_EQ(calls().status().timers.size(), 1U);
    EXPECT_GT(calls().status().timers[0].seconds, kLong - 100U);
    EXPECT_THAT(host_.events("restore"), ElementsAre(HasSubstr(R"("after":"new-image")")));
    stop();
    Ledger ledger = kept();
    ledger.timers = {endingIn("rebootTimer", 0)};
    keep(ledger);
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::activationFailed)));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "ack 0", "start-up", "restore",
                                           "start-up", "restore", "timer", "ack -1"));
}

TEST_F(Restart, into_the_activated_bank_ends_the_offer_as_the_commit_check_says) {
    const std::uint64_t ticket = activate();
    runFrom(node::Bank::b, kNew);
    host_.on("start-up", {});
    host_.on("start-up", {report("OTA_SW_COMMIT_COMPLETE")});
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::done)));
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_TRUE(idle());
    EXPECT_EQ(calls().status().statusWord, "OTA_SW_COMMIT_COMPLETE");
    ASSERT_TRUE(turnUntil([&] { return !kept().waiting; }));
    startUp("boot-2");
    turnWhileBusy();
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::done))) << "only once";
    EXPECT_EQ(calls().status().statusWord, "OTA_SW_COMMIT_COMPLETE");
    EXPECT_THAT(calls().status().statusRecord, HasSubstr("OTA_SW_COMMIT_COMPLETE"));
}

TEST_F(Restart, into_the_activated_bank_without_a_word_is_judged_by_the_bank) {
    const std::uint64_t ticket = activate(3);
    runFrom(node::Bank::b, kNew);
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::activated)));
}

TEST_F(Restart, behind_a_commit_whose_word_nobody_noted_tells_that_the_new_version_runs) {
    const std::uint64_t ticket = activate();
    runFrom(node::Bank::b, kNew);
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::done)));
}

TEST_F(Restart, into_the_activated_bank_that_did_not_pass_is_no_commit) {
    const std::uint64_t ticket = activate();
    runFrom(node::Bank::b, kNew);
    host_.on("start-up", {});
    host_.on("start-up", {say(R"({"note":"trial-failed","bank":"b","version":"4QZ-2.0.0",)"
                              R"("reason":"the health command ended with 1"})")});
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::commitFailed)));
}

TEST_F(Restart, into_the_old_bank_tells_that_the_activated_one_was_passed_over) {
    const std::uint64_t ticket = activate();
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::commitFailed)));
    EXPECT_EQ(host_.count("new-image"), 1U);
}

TEST_F(Restart, before_the_reboot_came_waits_on_for_it) {
    const std::uint64_t ticket = activate();
    startUp();
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "rebooting"; }));
    turnWhileBusy();
    EXPECT_THAT(codesOf(ticket), IsEmpty());
    EXPECT_EQ(host_.count("new-image"), 1U);
}

TEST_F(Restart, puts_a_damaged_book_aside_tells_it_and_starts_idle) {
    std::ofstream(in("state/requests.json")) << "{\"half\": ";
    startUp();
    ASSERT_EQ(told("state-damaged").size(), 1U);
    EXPECT_THAT(told("state-damaged")[0], HasSubstr("requests.json.damaged"));
    EXPECT_TRUE(std::filesystem::exists(in("state/requests.json.damaged")));
    const std::uint64_t ticket = ticketOf(offer());
    EXPECT_TRUE(turnUntil([&] { return finished(ticket); }));
}

// Who waits for an end must not take another request's for it.
TEST_F(Restart, with_a_ledger_that_is_lost_ends_what_was_open_and_gives_no_ticket_twice) {
    startUp();
    const std::uint64_t ended = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ended); }));
    const std::uint64_t open = breakOffACall();
    std::string newer = printLedger(kept());
    newer.insert(newer.rfind('}'), ",\"later\": 1");
    const std::string ledger = in("state/requests.json");
    const auto lose = [&](const std::string &text) {
        stop();
        fs::remove(ledger);
        if (!text.empty()) {
            std::ofstream(ledger) << text;
        }
        host_.on("new-image", {stage("downloading"), waitFor("never")});
        startUp();
    };
    lose("{\"half\": ");
    EXPECT_THAT(codesOf(open), ElementsAre(codeOf(Outcome::lost)));
    EXPECT_EQ(reasonCodeOf("state-damaged"), "state-damaged");
    EXPECT_EQ(calls().status().lastEnd.ticket, open);
    EXPECT_EQ(calls().status().lastEnd.reasonCode, "state-damaged");
    EXPECT_THAT(explained("now"), HasSubstr("ticket " + std::to_string(open)));
    const std::uint64_t next = ticketOf(offer());
    EXPECT_EQ(next, open + 1);

    lose(newer);
    EXPECT_THAT(codesOf(next), ElementsAre(codeOf(Outcome::lost)));
    EXPECT_EQ(reasonCodeOf("state-damaged"), "state-newer");
    EXPECT_EQ(calls().status().lastEnd.reasonCode, "state-newer");
    EXPECT_EQ(ticketOf(offer()), next + 1);

    lose("");
    EXPECT_EQ(told("state-damaged").size(), 2U) << "it was not put aside";
    EXPECT_EQ(calls().status().lastEnd.ticket, next + 1);
    EXPECT_THAT(calls().status().lastEnd.reason, HasSubstr("requests.json is missing"));
    EXPECT_THAT(codesOf(ended).size(), 1U) << "it had its end";
    EXPECT_THAT(codesOf(open).size(), 1U) << "only once";
    EXPECT_EQ(ticketOf(offer()), next + 2);
}

TEST_F(Restart, with_a_ledger_ends_nothing_that_only_the_history_lacks_the_end_of) {
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket) && !kept().running; }));
    stop();
    std::ofstream(in("state/history.jsonl"))
        << R"({"time":"t","event":"accepted","ticket":1,"code":0})"
        << "\n";
    startUp();
    EXPECT_THAT(codesOf(ticket), IsEmpty());
    EXPECT_EQ(ticketOf(offer()), ticket + 1);
}

TEST_F(Restart, gives_up_a_call_that_crashed_too_often_before) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 3;
    ledger.running = Running{offerRequest(2), 3, 3, "a", false};
    keep(ledger);
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(2) && idle() && !kept().running; }));
    EXPECT_THAT(codesOf(2), ElementsAre(codeOf(Outcome::hostCrashed)));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "abandon"));
}

// A file of another release, configuration or hand; the guard has its say before the agent.
TEST_F(Restart, ends_a_broken_call_that_is_not_let_in_any_more) {
    const std::uint64_t ticket = breakOffACall();
    config_.lowestVersion = kOther;
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::versionBelowFloor)));
    ASSERT_TRUE(turnUntil([&] { return host_.count("abandon") == 1; }));
    ASSERT_TRUE(turnUntil([&] { return idle(); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_THAT(explained("now"), HasSubstr("under the configured lowest version"));
    ASSERT_TRUE(turnUntil([&] { return !kept().running; }));
}

TEST_F(Restart, ends_an_offer_in_the_queue_that_is_not_let_in_any_more) {
    breakOffACall();
    Ledger ledger = kept();
    ledger.running.reset();
    ledger.queue.push_back(offerRequest(ledger.nextTicket++, 0, kNew));
    ledger.queue.push_back(offerRequest(ledger.nextTicket++, 0, kOther));
    std::string &event = ledger.queue.front().event;
    event.replace(event.find(kNew), std::string(kNew).size(), "4QZ;reboot");
    keep(ledger);
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ledger.nextTicket - 1); }));
    EXPECT_THAT(codesOf(ledger.nextTicket - 2), ElementsAre(codeOf(Outcome::versionMalformed)));
    EXPECT_EQ(host_.count("new-image"), 2U) << "the first, and the one behind the refused one";
    for (const std::string &heard : host_.events("new-image")) {
        EXPECT_THAT(heard, Not(HasSubstr("4QZ;reboot")));
    }
}

TEST_F(Restart, ends_a_waiting_offer_whose_memory_was_changed) {
    host_.on("new-image", {startTimer("rebootTimer", kLong)});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    stop();
    Ledger ledger = kept();
    ledger.timers = {endingIn("rebootTimer", 0)};
    ledger.memory = R"x({"swInfo":{"nxtMSVersion":"4QZ$(reboot)"}})x";
    keep(ledger);
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(codeOf(Outcome::keyMissing)));
    ASSERT_TRUE(turnUntil([&] { return idle(); }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("timer"), 0U);
    for (const std::string &restored : host_.events("restore")) {
        EXPECT_THAT(restored, Not(HasSubstr("reboot)")));
    }
}

TEST_F(Restart, takes_up_what_an_earlier_release_kept) {
    fs::copy_file(OTA_SAMPLES "/older/requests_before_trials.json", in("state/requests.json"));
    host_.on("timer", {report("OTA_SW_ACTIVATION_FAILED")});
    startUp("boot-of-another-release");
    ASSERT_TRUE(turnUntil([&] { return finished(7) && finished(8); }));
    EXPECT_THAT(codesOf(7), ElementsAre(codeOf(Outcome::done)));
    EXPECT_EQ(calls().status().ticket, 6U);
    EXPECT_EQ(calls().status().timers.size(), 1U);
    EXPECT_THAT(host_.events("restore").back(), HasSubstr("files.example"));
    EXPECT_FALSE(fs::exists(in("state/requests.json.damaged")));
}

TEST_F(Restart, arms_no_timer_that_is_not_the_agents) {
    host_.on("new-image", {startTimer("rebootTimer", kLong)});
    startUp();
    ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    stop();
    Ledger ledger = kept();
    ledger.timers.push_back(endingIn("x;reboot", 0));
    keep(ledger);
    startUp();
    ASSERT_TRUE(turnUntil([&] { return !told("refused").empty(); }));
    EXPECT_THAT(told("refused").back(), HasSubstr("x;reboot"));
    EXPECT_EQ(calls().status().timers.size(), 1U);
}

} // namespace
} // namespace service::test
