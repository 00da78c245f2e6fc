// SPDX-License-Identifier: MIT
// What the host tells while a call of the agent runs.
#include "tests/unit/service/daemon_fixture.h"

#include <filesystem>
#include <fstream>

namespace service::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

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

TEST_F(DuringACall, each_stage_is_counted_once_with_its_bytes_whatever_ends_the_service) {
    constexpr std::size_t kBytes = 4096;
    host_.on("new-image", {stage("downloading"), waitFor("image"), stage("verifying"),
                           report("OTA_CRC_CHECK_FAILED")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return calls().status().stage == "downloading"; }));
    std::ofstream(config_.tmpDirectory + "/" + kNew) << std::string(kBytes, 'i');
    host_.release("image");
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    std::map<std::string, std::uint64_t> counted = calls().counters();
    EXPECT_EQ(counted["bytes"], kBytes);
    EXPECT_EQ(counted["stage downloading"], 1U);
    EXPECT_EQ(counted["stage verifying"], 1U);
    EXPECT_EQ(counted.count("milliseconds verifying"), 1U);
    EXPECT_EQ(counted["event finished checksumFailed checksum-differs"], 1U);
    EXPECT_EQ(newest("finished", "left"), "verifying");
    stop();
    EXPECT_FALSE(std::filesystem::exists(in("state/counters.json"))) << "it ended without warning";
    startUp("boot-2");
    std::map<std::string, std::uint64_t> again = calls().counters();
    for (const char *name : {"bytes", "stage downloading", "milliseconds downloading",
                             "event finished checksumFailed checksum-differs"}) {
        EXPECT_EQ(again[name], counted[name]) << name;
    }
    EXPECT_EQ(again["event service-started done none"], 2U);
}

TEST_F(DuringACall, counters_that_are_damaged_are_told_and_counted_from_the_history) {
    startUp();
    stop();
    std::ofstream(in("state/counters.json")) << "{";
    startUp("boot-2");
    EXPECT_THAT(told("counters-damaged"),
                ElementsAre(HasSubstr("counters.json: the counters cannot be read")));
    EXPECT_EQ(reasonCodeOf("counters-damaged"), "state-damaged");
    std::map<std::string, std::uint64_t> counted = calls().counters();
    EXPECT_EQ(counted["event service-started done none"], 2U);
}

} // namespace
} // namespace service::test
