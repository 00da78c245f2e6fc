// SPDX-License-Identifier: MIT
// Stages and the progress of a download, as the node shows them.
#include "daemon_fixture.h"

#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace service::test {
namespace {

using testing::ElementsAre;

class Board : public DaemonTest {
  protected:
    // Short, so that long versions are let through; only the agent would write there.
    Board() { config_.logsDirectory = "/l"; }

    const NodeStatus &status() { return calls().status(); }
    void downloaded(int percent, std::size_t bytes) const {
        // The agent names the image by the first 14 characters of the version.
        std::ofstream(in("tmp/") + std::string(kLongVersion).substr(0, 14))
            << std::string(bytes, 'x');
        std::ofstream(in("tmp/ota_dwld_prog")) << percent << "\n";
    }
    bool waitForStage(const std::string &name) {
        return turnUntil([&] { return status().stage == name; });
    }

    static constexpr const char *kLongVersion = "4QZ-2.0.0-longer-than-that";
};

TEST_F(Board, follows_the_stages_of_a_call) {
    host_.on("new-image", {stage("downloading"), waitFor("1"), stage("verifying"), waitFor("2"),
                           stage("writing"), waitFor("3"), stage("activating"), waitFor("4"),
                           report("OTA_SW_ACTIVATION_FAILED"), stage("idle")});
    startUp();
    EXPECT_EQ(status().stage, "idle");
    const std::uint64_t ticket = ticketOf(offer());
    int step = 1;
    for (const char *const name : {"downloading", "verifying", "writing", "activating"}) {
        EXPECT_TRUE(waitForStage(name)) << name;
        EXPECT_EQ(status().ticket, ticket);
        EXPECT_EQ(status().version, kNew);
        host_.release(std::to_string(step++));
    }
    EXPECT_TRUE(waitForStage("idle"));
    EXPECT_EQ(status().ticket, 0U);
    EXPECT_EQ(told("stage").size(), 4U);
}

TEST_F(Board, shows_how_much_of_the_image_is_here) {
    host_.on("new-image", {stage("downloading"), waitFor("1"), stage("verifying"), waitFor("2")});
    startUp();
    ticketOf(offer(0, kLongVersion));
    ASSERT_TRUE(waitForStage("downloading"));
    EXPECT_EQ(status().percentage, 0U);
    EXPECT_EQ(status().downloadedBytes, 0U);
    downloaded(40, 4000);
    EXPECT_TRUE(turnUntil([&] { return status().percentage == 40; }));
    EXPECT_EQ(status().downloadedBytes, 4000U);
    downloaded(55, 5500);
    EXPECT_TRUE(turnUntil([&] { return status().percentage == 55; }));
    EXPECT_TRUE(turnUntil([&] { return status().downloadedBytes == 5500; }));
    downloaded(99, 9999);
    host_.release("1");
    ASSERT_TRUE(waitForStage("verifying"));
    EXPECT_EQ(status().percentage, 100U);
    EXPECT_EQ(status().downloadedBytes, 9999U);
    host_.release("2");
    ASSERT_TRUE(waitForStage("idle"));
    EXPECT_EQ(status().percentage, 0U);
    EXPECT_EQ(status().downloadedBytes, 0U);
}

TEST_F(Board, does_not_show_the_progress_of_an_earlier_download) {
    downloaded(80, 10);
    using namespace std::chrono_literals;
    std::filesystem::last_write_time(in("tmp/ota_dwld_prog"),
                                     std::filesystem::file_time_type::clock::now() - 60s);
    host_.on("new-image", {stage("downloading"), hang()});
    startUp();
    ticketOf(offer(0, kLongVersion));
    ASSERT_TRUE(turnUntil([&] { return status().downloadedBytes == 10; }));
    EXPECT_EQ(status().percentage, 0U);
}

TEST_F(Board, takes_no_more_than_a_whole_and_no_marks_of_failure_for_progress) {
    host_.on("new-image", {stage("downloading"), hang()});
    startUp();
    ticketOf(offer(0, kLongVersion));
    ASSERT_TRUE(waitForStage("downloading"));
    downloaded(7, 1);
    ASSERT_TRUE(turnUntil([&] { return status().percentage == 7; }));
    std::ofstream(in("tmp/ota_dwld_prog")) << "failed\n";
    turnWhileBusy();
    EXPECT_EQ(status().percentage, 7U);
    downloaded(1000, 1);
    EXPECT_TRUE(turnUntil([&] { return status().percentage == 100; }));
}

TEST_F(Board, waits_for_nobody_who_left_something_else_where_the_progress_is_read) {
    host_.on("new-image", {stage("downloading"), hang()});
    startUp();
    ticketOf(offer(0, kLongVersion));
    ASSERT_TRUE(waitForStage("downloading"));
    const std::string progress = in("tmp/ota_dwld_prog");
    const std::string image = in("tmp/") + std::string(kLongVersion).substr(0, 14);
    std::ofstream(in("elsewhere")) << "66\n";
    std::ofstream(in("of another kind")) << std::string(66, 'x');
    // Opened the plain way, a pipe that nobody writes to would hold up the loop for ever.
    ASSERT_EQ(mkfifo(progress.c_str(), 0666), 0);
    ASSERT_EQ(mkfifo(image.c_str(), 0666), 0);
    turnFor(std::chrono::milliseconds(600));
    for (const auto &[path, target] :
         {std::pair(progress, in("elsewhere")), std::pair(image, in("of another kind"))}) {
        std::filesystem::remove(path);
        std::filesystem::create_symlink(target, path);
    }
    turnFor(std::chrono::milliseconds(600));
    EXPECT_EQ(status().percentage, 0U) << "a link is not followed";
    EXPECT_EQ(status().downloadedBytes, 0U);
    std::filesystem::remove(progress);
    std::ofstream(progress) << std::string(15, ' ') << "55\n";
    turnFor(std::chrono::milliseconds(600));
    EXPECT_EQ(status().percentage, 0U) << "no percentage begins behind so many characters";
    std::ofstream(progress) << "12\n";
    EXPECT_TRUE(turnUntil([&] { return status().percentage == 12; }));
}

TEST_F(Board, shows_the_banks_and_what_the_next_boot_takes) {
    startUp();
    ASSERT_EQ(status().banks.size(), 2U);
    EXPECT_EQ(status().banks[0], (BankView{"a", kOld, true, true, true}));
    EXPECT_EQ(status().banks[1], (BankView{"b", kOld, true, false, false}));
}

TEST_F(Board, shows_who_the_node_is_once_the_agent_told) {
    config_.onboarding = 1;
    config_.preferredActivationTime = "03:00";
    start();
    EXPECT_EQ(status().mac, "");
    ASSERT_TRUE(turnUntil([&] { return !status().mac.empty(); }));
    EXPECT_EQ(status().mac, "02:00:5E:10:00:01");
    EXPECT_EQ(status().model, "GW-1000");
    EXPECT_EQ(status().serial, "SN0000000001");
    EXPECT_EQ(status().onboarding, 1);
    EXPECT_EQ(status().preferredActivationTime, "03:00");
    EXPECT_GT(status().uptime, 0U);
}

TEST_F(Board, shows_the_last_word_and_record) {
    host_.on("new-image", {report("OTA_SW_SWAP_PASSIVE"), report("OTA_CRC_CHECK_FAILED")});
    startUp();
    const std::uint64_t ticket = ticketOf(offer());
    ASSERT_TRUE(turnUntil([&] { return finished(ticket); }));
    EXPECT_EQ(status().statusWord, "OTA_CRC_CHECK_FAILED");
    EXPECT_EQ(status().statusRecord, R"({"status":"OTA_CRC_CHECK_FAILED"})");
    EXPECT_EQ(told("status").size(), 2U);
}

} // namespace
} // namespace service::test
