// SPDX-License-Identifier: MIT
// Why an offer ended, or waits, as it is told; stages and history on the way.
#include "tests/unit/service/daemon_fixture.h"

#include "base/json.h"

#include <fstream>

namespace service::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

Action cause(const std::string &reason, const std::string &text, int attempt = 0) {
    return say(R"({"note":"cause","reason":")" + reason + R"(","text":")" + text +
               R"(","attempt":)" + std::to_string(attempt) + "}");
}

class ReasonsOfEnds : public DaemonTest {
  protected:
    std::uint64_t offerThat(const std::vector<Action> &actions) {
        host_.on("new-image", actions);
        if (!daemon_) {
            startUp();
        }
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] {
            const Ledger now = kept();
            return !now.running && now.queue.empty();
        }));
        return ticket;
    }
    // "<result> <reason code>: <sentence>" of the last end that is told.
    std::string lastEnd() {
        const base::End &end = calls().status().lastEnd;
        return std::to_string(end.ticket) + " " + end.result + " " + end.reasonCode + ": " +
               end.reason;
    }
    std::vector<base::Json> history() {
        std::vector<base::Json> lines;
        for (const std::string &line : calls().history(History::kNewest)) {
            lines.push_back(base::parsed(line));
        }
        return lines;
    }
};

TEST_F(ReasonsOfEnds, are_those_that_the_host_told_of_the_call) {
    offerThat({stage("writing"), cause("not-signed", "it is not signed"),
               report("OTA_SW_FLASH_WRITE_FAILED")});
    EXPECT_EQ(lastEnd(), "1 flashWriteFailed not-signed: it is not signed");
    EXPECT_EQ(reasonCodeOf("finished"), "not-signed");
    EXPECT_THAT(explained("now"), HasSubstr("it is not signed (52 flashWriteFailed, not-signed)"));
    // Of the call before, nothing is left.
    offerThat({stage("downloading"), report("OTA_CRC_CHECK_FAILED")});
    EXPECT_EQ(lastEnd(), "2 checksumFailed checksum-differs: OTA_CRC_CHECK_FAILED");
}

TEST_F(ReasonsOfEnds, are_told_where_the_agent_itself_says_no_word) {
    offerThat({stage("activating"), cause("boot-state-locked", "somebody holds the lock")});
    EXPECT_EQ(lastEnd(), "1 activationFailed boot-state-locked: somebody holds the lock");
    offerThat({stage("downloading"), cause("ca-file-missing", "ca.pem is missing")});
    EXPECT_EQ(lastEnd(), "2 interruptedNothingKnown ca-file-missing: ca.pem is missing");
    offerThat({});
    EXPECT_THAT(lastEnd(), HasSubstr("3 interruptedNothingKnown no-word: "));
}

TEST_F(ReasonsOfEnds, of_no_failure_are_none) {
    offerThat({stage("downloading"), cause("no-connection", "refused", 1), stage("writing"),
               report("OTA_SW_ACTIVATION_COMPLETE")});
    EXPECT_EQ(lastEnd(), "1 writtenOnly none: OTA_SW_ACTIVATION_COMPLETE");
}

TEST_F(ReasonsOfEnds, of_an_attempt_are_told_while_the_next_one_waits) {
    const std::uint64_t ticket = offerThat(
        {stage("downloading"), cause("file-not-found", "it answered 404"),
         cause("file-not-found", "it answered 404", 1), startTimer("downloadRetryTimer", kLong)});
    EXPECT_EQ(calls().status().waitReasonCode, "file-not-found");
    EXPECT_EQ(calls().status().waitReason, "attempt 1 of 7 failed: it answered 404");
    EXPECT_THAT(told("attempt-failed"),
                ElementsAre(std::to_string(ticket) + " 65 attempt 1 of 7 failed: it answered 404"));
    EXPECT_THAT(explained("next"), HasSubstr("attempt 1 of 7 failed: it answered 404"));
    EXPECT_THAT(base::textOf(history().back().get(), "next"),
                HasSubstr("the next attempt starts at "));
    // A service that starts anew knows it too.
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    turnFor(std::chrono::milliseconds(100));
    stop();
    startUp();
    EXPECT_EQ(calls().status().waitReasonCode, "file-not-found");
}

// The agent's count ends with its process.
TEST_F(ReasonsOfEnds, of_an_attempt_count_on_over_restarts_of_the_host) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.failedDownloads = 3;
    keep(ledger);
    offerThat({stage("downloading"), cause("no-connection", "refused", 1),
               startTimer("downloadRetryTimer", kLong)});
    EXPECT_EQ(calls().status().waitReason, "attempt 4 of 7 failed: refused");
}

TEST_F(ReasonsOfEnds, of_an_attempt_go_with_the_next_call) {
    host_.on("timer", {stage("downloading"), hang()});
    host_.on("new-image", {stage("downloading"), cause("time-limit", "late", 1),
                           startTimer("downloadRetryTimer", 0)});
    startUp();
    ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return host_.count("timer") == 1; }));
    EXPECT_THAT(told("attempt-failed"), ElementsAre(HasSubstr("attempt 1 of 7 failed: late")));
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    EXPECT_EQ(calls().status().waitReason, "");
}

TEST_F(ReasonsOfEnds, of_the_last_request_are_known_to_the_next_service) {
    offerThat({cause("tls-failed", "no TLS", 7), report("OTA_RECONNECT_BUE")});
    const std::string before = lastEnd();
    EXPECT_EQ(before, "1 downloadGaveUp tls-failed: attempt 7 of 7 failed: no TLS");
    ASSERT_TRUE(turnUntil([&] { return !kept().running; }));
    turnFor(std::chrono::milliseconds(100));
    stop();
    startUp();
    EXPECT_EQ(lastEnd(), before);
}

TEST_F(ReasonsOfEnds, of_a_call_that_broke_off_tell_what_was_there_already) {
    host_.on("new-image", {stage("downloading"), dieOf(9)});
    std::ofstream(config_.tmpDirectory + "/" + std::string(kNew).substr(0, 14))
        << std::string(1234, 'x');
    offerThat({stage("downloading"), report("OTA_CRC_CHECK_FAILED")});
    ASSERT_TRUE(turnUntil([&] { return !told("taken-up").empty(); }));
    EXPECT_THAT(told("taken-up")[0], HasSubstr("a download begins anew after 1234 bytes"));
    EXPECT_EQ(reasonCodeOf("taken-up"), "begun-anew");
}

TEST_F(ReasonsOfEnds, follow_the_boot_in_the_history_which_is_numbered) {
    host_.on("start-up", {});
    offerThat({stage("activating"), stage("rebooting"), report("OTA_SW_ACTIVATION_COMPLETE")});
    EXPECT_EQ(calls().status().stage, "rebooting");
    stop();
    runFrom(node::Bank::b, kNew);
    host_.on("start-up", {stage("committing"), stage("idle"), waitFor("word"),
                          report("OTA_SW_COMMIT_COMPLETE")});
    start("boot-2");
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 2; }));
    turnFor(std::chrono::milliseconds(100));
    EXPECT_EQ(calls().status().stage, "committing");
    host_.release("word");
    ASSERT_TRUE(turnUntil([&] { return finished(1); }));
    std::vector<std::string> events;
    int last = 0;
    for (const base::Json &line : history()) {
        EXPECT_EQ(base::numberOf(line.get(), "seq"), last + 1);
        last = base::numberOf(line.get(), "seq");
        events.push_back(base::textOf(line.get(), "event"));
    }
    const auto begin = std::find(events.rbegin(), events.rend(), "service-started").base();
    EXPECT_THAT(std::vector<std::string>(begin, events.end()),
                ElementsAre("bus-missing", "host-started", "boot", "status", "finished"));
}

TEST_F(ReasonsOfEnds, of_a_boot_are_those_of_what_booted) {
    host_.on("start-up", {});
    offerThat({stage("activating"), stage("rebooting"), report("OTA_SW_ACTIVATION_COMPLETE")});
    stop();
    host_.on("start-up", {report("OTA_SW_COMMIT_FAILED")});
    startUp("boot-2");
    ASSERT_TRUE(turnUntil([&] { return finished(1); }));
    EXPECT_THAT(lastEnd(), HasSubstr("1 commitFailed passed-over: "));
}

TEST_F(ReasonsOfEnds, of_what_is_ended_for_another_name_that) {
    host_.on("new-image", {startTimer("rebootTimer", kLong)});
    offerThat({startTimer("rebootTimer", kLong)});
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return kept().waiting && kept().waiting->offer.ticket == 2; }));
    EXPECT_EQ(lastEnd(), "1 superseded later-request: ticket 2 took its place");
    const ReplyRef cancelled = cancel(second);
    ASSERT_TRUE(turnUntil([&] { return cancelled->times == 1; }));
    EXPECT_EQ(lastEnd(), "2 cancelled by-operator: while it waited");
}

TEST_F(ReasonsOfEnds, of_a_host_that_crashed_three_times_name_that) {
    for (int i = 0; i < 3; ++i) {
        host_.on("new-image", {stage("downloading"), dieOf(9)});
    }
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(lastEnd(), "1 hostCrashed host-crashed: the host process ended 3 times in it");
    EXPECT_EQ(reasonCodeOf("host-crashed"), "host-crashed");
}

class NamedTime : public ReasonsOfEnds {};

TEST_F(NamedTime, with_nothing_waiting_governs_the_next_image) {
    host_.on("activation-time",
             {doneWith(R"({"deferred":0,"memory":{"swActTime":{"actTime":"03:30"},)"
                       R"("g_mAppRebootTrig":1}})")});
    startUp();
    const std::uint64_t ticket = ticketOf(activateAt("03:30"));
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(lastEnd(), HasSubstr("nothing waits for its activation: 03:30 governs the next "
                                     "image of policy 0, until the node boots"));
    EXPECT_EQ(calls().status().activationTime, "03:30");
}

TEST_F(NamedTime, with_an_image_waiting_governs_that) {
    host_.on("activation-time",
             {startTimer("rebootTimer", kLong),
              doneWith(R"({"deferred":0,"memory":{"swActTime":{"actTime":"03:30"},)"
                       R"("g_mAppRebootTrig":1}})")});
    offerThat({startTimer("rebootTimer", kLong)});
    EXPECT_EQ(calls().status().activationTime, "");
    const std::uint64_t ticket = ticketOf(activateAt("03:30"));
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(lastEnd(), HasSubstr(std::string(kNew) + " (ticket 1) is activated at 03:30"));
}

} // namespace
} // namespace service::test
