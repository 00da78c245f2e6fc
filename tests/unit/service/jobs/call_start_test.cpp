// SPDX-License-Identifier: MIT
// What is kept before a call of the agent begins, and what the agent is told.
#include "tests/unit/service/daemon_fixture.h"

#include "base/json.h"

namespace service::test {
namespace {

using testing::IsEmpty;

class StartOfACall : public DaemonTest {};

TEST_F(StartOfACall, are_on_the_disk_as_running_before_the_agent_hears_of_them) {
    host_.on("new-image", {copy("state/requests.json", "seen"), report("NO_OTA_SW_UPGRADE")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    const Ledger seen = ledgerIn("seen");
    ASSERT_TRUE(seen.running);
    EXPECT_EQ(seen.running->request.ticket, ticket);
    EXPECT_EQ(seen.running->starts, 1);
    EXPECT_EQ(seen.running->bank, "a");
    EXPECT_THAT(seen.queue, IsEmpty());
}

TEST_F(StartOfACall, carry_to_the_agent_what_was_checked) {
    startUp();
    const auto reply = std::make_shared<Reply>();
    calls().offerImage(
        descriptorOf(2, kNew), {3, 1, 0},
        [&](const guard::Refusal *, std::uint64_t ticket) { reply->ticket = ticket; });
    ASSERT_TRUE(turnUntil([&] { return reply->ticket != 0 && finished(reply->ticket); }));
    ASSERT_EQ(host_.count("new-image"), 1U);
    const base::Json event = base::parsed(host_.events("new-image")[0]);
    EXPECT_EQ(base::textOf(event.get(), "descriptor"), descriptorOf(2, kNew));
    const cJSON *const config = base::itemOf(event.get(), "config");
    EXPECT_EQ(base::numberOf(config, "OffloadDownloadActivate"), 3);
    EXPECT_EQ(base::numberOf(config, "initial_obardingStatus"), 1);
    EXPECT_EQ(base::numberOf(config, "firsttime_polling"), 0);
}

} // namespace
} // namespace service::test
