// SPDX-License-Identifier: MIT
// Requests are kept before anything happens with them, and run one at a time, in their order.
#include "tests/unit/service/daemon_fixture.h"

#include "base/json.h"
#include "service/state/request_check.h"

#include <filesystem>

namespace service::test {
namespace {

using base::Outcome;
using testing::ElementsAre;

constexpr int kLongestQueue = 16;

class Requests : public DaemonTest {
  protected:
    // The agent works on an offer until "go".
    std::uint64_t makeBusy() {
        host_.on("new-image",
                 {stage("downloading"), waitFor("go"), report("OTA_SW_FLASH_WRITE_FAILED")});
        startUp();
        const std::uint64_t ticket = ticketOf(offer());
        EXPECT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
        return ticket;
    }
};

TEST_F(Requests, are_on_the_disk_before_they_are_answered) {
    startUp();
    Ledger seen;
    std::uint64_t answered = 0;
    calls().offerImage(descriptorOf(1, kNew), {2, 1, 0},
                       [&](const guard::Refusal *refusal, std::uint64_t ticket) {
                           EXPECT_EQ(refusal, nullptr);
                           seen = kept();
                           answered = ticket;
                       });
    EXPECT_EQ(answered, 0U);
    ASSERT_TRUE(turnUntil([&] { return answered != 0; }));
    ASSERT_EQ(seen.queue.size(), 1U);
    EXPECT_EQ(seen.queue.front().ticket, answered);
    EXPECT_EQ(seen.queue.front().version, kNew);
    EXPECT_EQ(seen.queue.front().policy, 1);
    EXPECT_EQ(seen.nextTicket, answered + 1);
}

TEST_F(Requests, run_in_their_order_and_are_answered_while_the_agent_is_busy) {
    makeBusy();
    const std::uint64_t second = ticketOf(trigger());
    const std::uint64_t third = ticketOf(activateAt("03:30"));
    const std::uint64_t fourth = ticketOf(offer(0, kOther));
    EXPECT_EQ(calls().status().queued, 3U);
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image"));
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(fourth); }));
    EXPECT_THAT(host_.heard(), ElementsAre("start-up", "new-image", "ack -1", "mobile-trigger",
                                           "activation-time", "new-image"));
    EXPECT_THAT(codesOf(second), ElementsAre(0));
    EXPECT_THAT(codesOf(third), ElementsAre(0));
    EXPECT_LT(second, third);
    EXPECT_LT(third, fourth);
    EXPECT_TRUE(idle());
}

TEST_F(Requests, more_than_the_queue_takes_are_refused) {
    makeBusy();
    for (int i = 0; i < kLongestQueue; ++i) {
        ticketOf(trigger());
    }
    const ReplyRef tooMany = trigger();
    ASSERT_EQ(tooMany->times, 1);
    EXPECT_EQ(tooMany->refused, Outcome::queueFull);
    host_.release("go");
    ASSERT_TRUE(
        turnUntil([&] { return calls().status().ticket == 0 && calls().status().queued == 0; }));
    EXPECT_EQ(host_.count("mobile-trigger"), static_cast<std::size_t>(kLongestQueue));
}

TEST_F(Requests, an_offer_that_waits_is_superseded_by_the_next_one) {
    host_.on("new-image", {startTimer("rebootTimer", kLong)});
    host_.on("new-image", {stopTimer("rebootTimer"), report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t first = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return kept().waiting.has_value(); }));
    const std::uint64_t second = ticketOf(offer(0, kOther));
    ASSERT_TRUE(turnUntil([&] { return finished(second); }));
    EXPECT_THAT(codesOf(first), ElementsAre(base::rowOf(Outcome::superseded).code));
    EXPECT_THAT(codesOf(second), ElementsAre(base::rowOf(Outcome::notNeeded).code));
    ASSERT_TRUE(turnUntil([&] { return !kept().waiting && !kept().running; }));
    EXPECT_TRUE(idle());
}

} // namespace
} // namespace service::test
