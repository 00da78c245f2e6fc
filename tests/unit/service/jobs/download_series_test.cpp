// SPDX-License-Identifier: MIT
// A series of failed downloads over restarts of the host: the seventh in a row is the seventh.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int kFirstDelay = 1800; // of a gateway
constexpr int kLaterDelay = 120;
const char *const kRetry = "downloadRetryTimer";
// Of an agent on a node that is neither gateway nor extender.
const char *const kPending = R"({"memory":{"g_dwldRetryTimer":1}})";

class ASeriesOfDownloads : public DaemonTest {
  protected:
    // So many attempts failed, and the time of the next one has come; the host was started since.
    void keepFailed(int attempts) const {
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = 8;
        ledger.memory = R"({"g_dwldRetryTimer":1})";
        ledger.waiting = WaitingOffer{offerRequest(7), "a", false, false};
        ledger.timers = {{kRetry, kLaterDelay, 0, 0, 1}};
        ledger.failedDownloads = attempts;
        keep(ledger);
    }

    // What is kept once the timer's call is over.
    Ledger behindTheCall() {
        EXPECT_TRUE(turnUntil([&] { return host_.count("timer") == 1; }));
        EXPECT_TRUE(turnUntil([&] { return kept().queue.empty() && !kept().running; }));
        return kept();
    }

    int secondsArmed() {
        const auto timers = calls().status().timers;
        return timers.size() == 1 && timers[0].name == kRetry ? static_cast<int>(timers[0].seconds)
                                                              : -1;
    }

    void expectTheEndOfTheSeries(std::uint64_t ticket) {
        ASSERT_TRUE(turnUntil([&] { return finished(ticket) && host_.count("start-up") == 2; }));
        EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::downloadGaveUp).code));
        EXPECT_EQ(calls().status().statusWord, "OTA_RECONNECT_BUE");
        EXPECT_THAT(told("series-ended"), ElementsAre(HasSubstr("download 7 in a row failed")));
        ASSERT_TRUE(turnUntil([&] { return hasStarted() && idle(); }));
        EXPECT_THAT(calls().status().timers, IsEmpty());
        EXPECT_THAT(told("host-crashed"), IsEmpty());
        ASSERT_TRUE(turnUntil([&] { return kept().failedDownloads == 0; }));
        EXPECT_THAT(kept().timers, IsEmpty());
        EXPECT_FALSE(kept().waiting);
    }
};

TEST_F(ASeriesOfDownloads, is_counted_and_begins_with_the_delay_of_the_agent) {
    host_.on("new-image", {stage("downloading"), startTimer(kRetry, kFirstDelay)});
    startUp();
    ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().failedDownloads == 1; }));
    EXPECT_GT(secondsArmed(), kLaterDelay);
}

TEST_F(ASeriesOfDownloads, goes_on_with_the_later_delay_whatever_the_agent_takes_it_for) {
    keepFailed(1);
    host_.on("timer", {stage("downloading"), startTimer(kRetry, kFirstDelay)});
    startUp();
    EXPECT_EQ(behindTheCall().failedDownloads, 2);
    EXPECT_GT(secondsArmed(), 0);
    EXPECT_LE(secondsArmed(), kLaterDelay);
    EXPECT_THAT(told("timer-started"),
                ElementsAre(HasSubstr("for 120 s, not the 1800 s of a first attempt")));
}

TEST_F(ASeriesOfDownloads, ends_with_the_seventh_as_the_agent_ends_it) {
    keepFailed(6);
    host_.on("timer", {stage("downloading"), startTimer(kRetry, kFirstDelay)});
    host_.on("give-up-download", {report("OTA_RECONNECT_BUE")});
    startUp();
    expectTheEndOfTheSeries(7);
    ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 2; }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "restore", "timer", "ack 0",
                                           "give-up-download", "ack -1", "start-up", "restore"));
}

TEST_F(ASeriesOfDownloads, is_continued_by_another_offer) {
    keepFailed(6);
    Ledger ledger = kept();
    ledger.timers.clear();
    ledger.waiting.reset();
    keep(ledger);
    host_.on("new-image", {stage("downloading"), startTimer(kRetry, kFirstDelay)});
    host_.on("give-up-download", {report("OTA_RECONNECT_BUE")});
    startUp();
    expectTheEndOfTheSeries(ticketOf(offer()));
}

TEST_F(ASeriesOfDownloads, is_over_with_a_download_that_succeeds) {
    keepFailed(6);
    host_.on("timer", {stage("downloading"), stage("verifying"), stage("writing"),
                       startTimer("rebootTimer", kLong)});
    startUp();
    EXPECT_EQ(behindTheCall().failedDownloads, 0);
    EXPECT_EQ(host_.count("give-up-download"), 0U);
}

TEST_F(ASeriesOfDownloads, that_the_agent_ended_itself_is_over) {
    keepFailed(6);
    host_.on("timer", {stage("downloading"), report("OTA_RECONNECT_BUE")});
    startUp();
    EXPECT_EQ(behindTheCall().failedDownloads, 0);
    EXPECT_EQ(host_.count("give-up-download"), 0U);
    EXPECT_EQ(host_.count("start-up"), 1U);
}

TEST_F(ASeriesOfDownloads, counts_no_attempt_that_broke_off) {
    keepFailed(6);
    host_.on("timer", {stage("downloading"), startTimer(kRetry, kFirstDelay), exitWith(3)});
    host_.on("timer", {stage("downloading"), startTimer(kRetry, kFirstDelay)});
    host_.on("give-up-download", {report("OTA_RECONNECT_BUE")});
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(host_.heard(), Contains("give-up-download").Times(1));
}

TEST_F(ASeriesOfDownloads, goes_on_where_the_agent_arms_no_timer_for_what_it_takes_for_the_first) {
    keepFailed(3);
    host_.on("timer", {stage("downloading"), stopTimer(kRetry), doneWith(kPending)});
    startUp();
    EXPECT_EQ(behindTheCall().failedDownloads, 4);
    EXPECT_GT(secondsArmed(), 0);
}

TEST_F(ASeriesOfDownloads, does_not_begin_with_a_timer_that_the_agent_does_not_arm) {
    host_.on("new-image", {stage("downloading"), stopTimer(kRetry), doneWith(kPending)});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(calls().status().timers, IsEmpty());
    ASSERT_TRUE(turnUntil([&] { return kept().failedDownloads == 1; }));
}

TEST_F(ASeriesOfDownloads, is_forgotten_with_the_offer_that_is_cancelled) {
    keepFailed(6);
    Ledger ledger = kept();
    ledger.timers = {{kRetry, kLong, bootNowMs() + kLong * 1000, 0, 0}};
    keep(ledger);
    startUp();
    const ReplyRef reply = cancel(7);
    ASSERT_TRUE(turnUntil([&] { return reply->times == 1; }));
    EXPECT_EQ(kept().failedDownloads, 0);
}

} // namespace
} // namespace service::test
