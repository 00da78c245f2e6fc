// SPDX-License-Identifier: MIT
// What the host tells while a call of the agent runs.
#include "tests/unit/service/daemon_fixture.h"

namespace service::test {
namespace {

class DuringACall : public DaemonTest {};

TEST_F(DuringACall, an_activation_is_on_the_disk_before_the_agent_goes_on_to_its_reboot) {
    host_.on("new-image",
             {stage("activating"), stage("rebooting"), ask(R"({"call":"activated"})"),
              copy("state/requests.json", "seen"), report("OTA_SW_ACTIVATION_COMPLETE")});
    startUp();
    ticketOf(offer(1));
    ASSERT_TRUE(turnUntil([&] { return told("status").size() == 1; }));
    const Ledger seen = ledgerIn("seen");
    ASSERT_TRUE(seen.running);
    EXPECT_TRUE(seen.running->activated);
}

TEST_F(DuringACall, an_activation_goes_on_to_its_reboot_where_it_cannot_be_kept) {
    host_.on("new-image", {stage("downloading"), waitFor("go"), stage("rebooting"),
                           ask(R"({"call":"activated"})"), report("OTA_SW_ACTIVATION_COMPLETE")});
    startUp();
    ticketOf(offer(1));
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    breakStateDirectory();
    host_.release("go");
    EXPECT_TRUE(turnUntil([&] { return told("status").size() == 1; }));
    mendStateDirectory();
}

TEST_F(DuringACall, an_activation_is_on_the_disk_while_the_call_still_runs) {
    host_.on("new-image", {stage("activating"), stage("rebooting"), hang()});
    startUp();
    ticketOf(offer());
    EXPECT_TRUE(turnUntil([&] {
        const Ledger now = kept();
        return now.running && now.running->activated;
    }));
}

TEST_F(DuringACall, the_stage_stays_until_the_call_is_over) {
    host_.on("new-image", {stage("writing"), stage("idle"), waitFor("told"), stage("rebooting"),
                           stage("idle"), waitFor("over")});
    startUp();
    ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "writing"; }));
    turnFor(std::chrono::milliseconds(100));
    EXPECT_EQ(calls().status().stage, "writing");
    host_.release("told");
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "rebooting"; }));
    host_.release("over");
    ASSERT_TRUE(turnUntil([&] { return !kept().running; }));
    EXPECT_EQ(calls().status().stage, "rebooting");
}

} // namespace
} // namespace service::test
