// SPDX-License-Identifier: MIT
// Requests and timers while the state directory cannot be written.
#include "tests/unit/service/daemon_fixture.h"

#include "service/loop.h"

namespace service::test {
namespace {

using base::Outcome;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class AFullDisk : public DaemonTest {};

TEST_F(AFullDisk, an_offer_that_cannot_be_kept_is_refused_and_leaves_nothing_behind) {
    startUp();
    turnWhileBusy();
    breakStateDirectory();
    const ReplyRef lost = offer();
    ASSERT_TRUE(turnUntil([&] { return lost->times > 0; }));
    EXPECT_EQ(lost->refused, Outcome::notKept);
    EXPECT_THAT(lost->text, HasSubstr(in("state/requests.json")));
    EXPECT_EQ(calls().status().queued, 0U);
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    mendStateDirectory();
    EXPECT_THAT(kept().queue, IsEmpty());
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_EQ(lost->times, 1);
}

TEST_F(AFullDisk, an_offer_waits_where_it_fails_behind_the_answer) {
    startUp();
    turnWhileBusy();
    const auto reply = std::make_shared<Reply>();
    calls().offerImage(descriptorOf(0, kNew), {0, 0, 0},
                       [&](const guard::Refusal *, std::uint64_t ticket) {
                           reply->ticket = ticket;
                           breakStateDirectory(); // full, or gone, a moment later
                       });
    ASSERT_TRUE(turnUntil([&] { return reply->ticket != 0; }));
    turnWhileBusy();
    EXPECT_EQ(host_.count("new-image"), 0U);
    EXPECT_EQ(calls().status().queued, 1U);
    stop(); // as in a power cut: the request is on the disk that comes back
    mendStateDirectory();
    startUp();
    ASSERT_TRUE(turnUntil([&] { return finished(reply->ticket); }));
    EXPECT_EQ(host_.count("new-image"), 1U);
}

TEST_F(AFullDisk, a_timer_that_ran_out_is_carried_out_all_the_same) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 8;
    ledger.waiting = WaitingOffer{offerRequest(7), "a", false, false};
    ledger.timers = {{"rebootTimer", 1, 0, 0, 1}};
    keep(ledger);
    host_.on("start-up", {waitFor("go")});
    host_.on("timer", {report("OTA_SW_ACTIVATION_FAILED")});
    start();
    ASSERT_TRUE(turnUntil([&] { return host_.count("start-up") == 1; }));
    turnWhileBusy();
    breakStateDirectory();
    host_.release("go");
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_EQ(host_.count("timer"), 1U);
    ASSERT_EQ(told("not-kept").size(), 1U);
    EXPECT_THAT(told("not-kept")[0], AllOf(StartsWith("7 8 "), HasSubstr(in("state/requests.json")),
                                           HasSubstr("the timer is carried out all the same")));
    EXPECT_EQ(reasonCodeOf("not-kept"), "not-written");
    EXPECT_THAT(explained("disk"), HasSubstr("make room in the state directory"));
    mendStateDirectory();
    ASSERT_TRUE(turnUntil([&] { return !kept().waiting; })) << "it is tried again";
    EXPECT_TRUE(turnUntil([&] { return explained("disk").empty(); }));
    EXPECT_EQ(host_.count("timer"), 1U);
}

TEST_F(AFullDisk, a_timer_does_not_wait_for_an_offer_that_cannot_be_kept) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 8;
    ledger.waiting = WaitingOffer{offerRequest(7), "a", false, false};
    ledger.timers = {{"rebootTimer", 2, bootNowMs() + 2000, 0, 1}};
    keep(ledger);
    host_.on("timer", {report("OTA_SW_ACTIVATION_FAILED")});
    startUp();
    turnWhileBusy();
    const auto accepted = std::make_shared<Reply>();
    calls().offerImage(descriptorOf(0, kOther), {0, 0, 0},
                       [&](const guard::Refusal *, std::uint64_t ticket) {
                           accepted->ticket = ticket;
                           breakStateDirectory(); // full, or gone, a moment later
                       });
    ASSERT_TRUE(turnUntil([&] { return finished(7); }));
    EXPECT_THAT(codesOf(7), ElementsAre(base::rowOf(Outcome::activationFailed).code))
        << "the offer took nothing's place yet";
    EXPECT_EQ(host_.count("timer"), 1U);
    EXPECT_EQ(host_.count("new-image"), 0U);
    mendStateDirectory();
    ASSERT_TRUE(turnUntil([&] { return finished(accepted->ticket); })) << "it has its turn then";
    EXPECT_EQ(host_.count("new-image"), 1U);
    EXPECT_EQ(host_.count("timer"), 1U);
}

} // namespace
} // namespace service::test
