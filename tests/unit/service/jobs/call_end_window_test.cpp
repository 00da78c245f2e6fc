// SPDX-License-Identifier: MIT
// The half-hour window of a first poll once it is used up: what the agent passes over is told, and
// the way out that is told is one.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const int kSpent = base::rowOf(Outcome::windowSpent).code;

class AWindowThatIsUsedUp : public DaemonTest {
  protected:
    // The agent remembers this, and nothing waits.
    void remember(const std::string &memory) {
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = 8;
        ledger.memory = memory;
        keep(ledger);
        startUp();
        ASSERT_TRUE(turnUntil([&] { return host_.count("restore") == 1 && idle(); }));
    }

    // An offer of ticket 7 waits for this timer.
    void keepWaiting(const ArmedTimer &timer) const {
        Ledger ledger;
        ledger.bootId = "boot-1";
        ledger.nextTicket = 8;
        ledger.memory = R"({"g_dwldStartTimer":1})";
        ledger.waiting = WaitingOffer{offerRequest(7), "a", false, false};
        ledger.timers = {timer};
        keep(ledger);
    }

    // What the agent remembers stays as it was.
    static Action passOver(const std::string &memory) {
        return doneWith(R"({"memory":)" + memory + "}");
    }
};

const char *const kTriggered = R"({"g_dwldStartTimer":1})";
const char *const kRanOut = R"({"g_mobileTriggerExpire":1})";

TEST_F(AWindowThatIsUsedUp, by_its_trigger_is_told_of_each_offer_that_is_passed_over) {
    host_.on("new-image", {passOver(kTriggered)});
    remember(kTriggered);
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(kSpent));
    EXPECT_EQ(reasonCodeOf("finished"), "window-used-up");
    EXPECT_THAT(explained("window"), HasSubstr("otactl cancel ends it"));
}

// The agent took the trigger, and what came of it waits for its time of day.
TEST_F(AWindowThatIsUsedUp, by_its_trigger_leaves_an_image_waiting_whatever_is_passed_over) {
    keepWaiting({"rebootTimer", kLong, bootNowMs() + 1000 * kLong, 0, 1});
    host_.on("new-image", {passOver(kTriggered)});
    startUp();
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(second), ElementsAre(kSpent));
    EXPECT_THAT(codesOf(7), IsEmpty());
    ASSERT_TRUE(turnUntil([&] { return !kept().running; }));
    ASSERT_TRUE(kept().waiting);
    EXPECT_EQ(kept().waiting->offer.ticket, 7U);
    EXPECT_EQ(calls().status().ticket, 7U);
    // What is told as the way out is one.
    const ReplyRef cancelled = cancel(7);
    ASSERT_TRUE(turnUntil([&] { return cancelled->times == 1; }));
    EXPECT_FALSE(cancelled->refused) << cancelled->text;
    EXPECT_EQ(explained("window"), "");
}

TEST_F(AWindowThatIsUsedUp, by_its_trigger_is_no_end_of_an_offer_that_is_not_passed_over) {
    keepWaiting({"rebootTimer", kLong, bootNowMs() + 1000 * kLong, 0, 1});
    host_.on("new-image", {report("NO_OTA_SW_UPGRADE"), passOver(kTriggered)});
    startUp();
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::superseded).code));
}

// The agent stops a pending download before it passes an offer over.
TEST_F(AWindowThatIsUsedUp, by_its_trigger_ends_a_pending_download_with_the_offer_after_it) {
    keepWaiting({"downloadRetryTimer", kLong, bootNowMs() + 1000 * kLong, 0, 1});
    host_.on("new-image", {stopTimer("downloadRetryTimer"), passOver(kTriggered)});
    startUp();
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(second), ElementsAre(kSpent));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::superseded).code));
    EXPECT_TRUE(turnUntil([&] { return !kept().waiting && !kept().running; }));
}

TEST_F(AWindowThatIsUsedUp, by_its_trigger_is_over_with_a_cancel) {
    remember(kTriggered);
    const ReplyRef cancelled = cancel(0);
    ASSERT_TRUE(turnUntil([&] { return cancelled->times == 1; }));
    EXPECT_FALSE(cancelled->refused) << cancelled->text;
    ASSERT_TRUE(turnUntil([&] { return idle() && host_.count("abandon") == 1; }));
    EXPECT_EQ(explained("window"), "");
    EXPECT_EQ(told("cancelled").size(), 1U);
    EXPECT_EQ(cancel(0)->refused, Outcome::nothingToCancel) << "once is enough";
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("restore"), 1U) << "the agent starts without it";
}

TEST_F(AWindowThatIsUsedUp, by_its_trigger_is_over_with_a_boot) {
    remember(kTriggered);
    stop();
    startUp("boot-2");
    EXPECT_EQ(explained("window"), "");
    EXPECT_EQ(host_.count("restore"), 1U) << "the agent starts without it";
}

TEST_F(AWindowThatIsUsedUp, by_its_end_is_told_of_each_trigger_that_is_passed_over) {
    host_.on("mobile-trigger", {passOver(kRanOut)});
    remember(kRanOut);
    const std::uint64_t late = ticketOf(trigger());
    ASSERT_TRUE(turnUntil([&] { return finished(late); }));
    EXPECT_THAT(codesOf(late), ElementsAre(kSpent));
    EXPECT_EQ(reasonCodeOf("finished"), "window-used-up");
    EXPECT_THAT(explained("window"), HasSubstr("without --first-poll"));
}

TEST_F(AWindowThatIsUsedUp, tells_nothing_of_what_is_not_passed_over) {
    host_.on("new-image", {report("OTA_CRC_CHECK_FAILED"), passOver(kTriggered)});
    remember(kTriggered);
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_THAT(codesOf(ticket), ElementsAre(base::rowOf(Outcome::checksumFailed).code));
}

} // namespace
} // namespace service::test
