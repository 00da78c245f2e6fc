// SPDX-License-Identifier: MIT
// The configuration before the start: the service's own mistakes, then what the platform says.
#include "service/config_check.h"

#include "tests/support/content_of.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace service {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

constexpr auto kPatience = std::chrono::milliseconds(300);
constexpr auto kTurn = std::chrono::milliseconds(100);
constexpr int kMostTurns = 100;
constexpr const char *kTold =
    R"({"mistakes":["bank a is none"],"obstacles":["no key"],"warnings":["odd"]})";

// One that ended and was not collected yet is not.
bool isAlive(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string line;
    return std::getline(file, line) && line.find(") Z ") == std::string::npos;
}

class ConfigCheck : public testing::Test {
  protected:
    ConfigCheck() {
        std::ofstream(config_) << "";
        tell(kTold);
    }
    ~ConfigCheck() override { fs::remove_all(folder_); }

    // A program in the place of the host; its descriptor 3 is the channel.
    CheckedConfig checkWith(const std::string &script,
                            std::chrono::milliseconds patience = std::chrono::seconds(30)) {
        std::ofstream(host_) << "#!/bin/sh\ncd " << folder_.string() << "\n" << script << "\n";
        fs::permissions(host_, fs::perms::owner_all);
        return checkConfig({host_, "the.so", config_}, patience);
    }

    void tell(const std::string &json) {
        const auto length = static_cast<std::uint32_t>(json.size());
        std::ofstream(folder_ / "message", std::ios::binary)
            << std::string{static_cast<char>(length & 0xFF), static_cast<char>(length >> 8), 0, 0}
            << json;
    }

    static fs::path newCheckFolder() {
        char name[] = "/tmp/ota-config-check.XXXXXX";
        return mkdtemp(name);
    }

    fs::path folder_ = newCheckFolder();
    fs::path host_ = folder_ / "host";
    fs::path config_ = folder_ / "node.conf";
};

TEST_F(ConfigCheck, TellsWhatThePlatformFindsBehindItsOwn) {
    const auto findings = checkWith("echo $* >asked; cat message >&3").findings;
    ASSERT_GT(findings.mistakes.size(), 1U);
    EXPECT_THAT(findings.mistakes.front(), HasSubstr("[node] model is missing"));
    EXPECT_EQ(findings.mistakes.back(), "bank a is none");
    EXPECT_THAT(findings.obstacles, ElementsAre("no key"));
    EXPECT_THAT(findings.warnings, ElementsAre("odd"));
    EXPECT_EQ(contentOf(folder_ / "asked"),
              "--library the.so --config " + config_.string() + " --channel 3 --check\n");
}

TEST_F(ConfigCheck, AsksThePlatformThatTheConfigurationNames) {
    const fs::path platform = folder_ / "platform.so";
    std::ofstream(platform) << "";
    fs::permissions(platform, fs::perms::owner_read | fs::perms::owner_write);
    std::ofstream(config_) << "[service]\nplatform = " << platform.string() << "\n";
    checkWith("echo $* >asked; cat message >&3");
    EXPECT_THAT(contentOf(folder_ / "asked"),
                HasSubstr(" --platform " + platform.string() + " --check"));
}

TEST_F(ConfigCheck, LoadsNoPlatformThatSomebodyElseCanWrite) {
    const fs::path platform = folder_ / "platform.so";
    std::ofstream(platform) << "";
    fs::permissions(platform, fs::perms::all);
    std::ofstream(config_) << "[service]\nplatform = " << platform.string() << "\n";
    const auto findings = checkWith("touch asked; cat message >&3").findings;
    EXPECT_FALSE(fs::exists(folder_ / "asked"));
    EXPECT_THAT(findings.mistakes, testing::Contains(HasSubstr("[service] platform cannot be")));
    EXPECT_THAT(findings.obstacles, IsEmpty());
}

TEST_F(ConfigCheck, AsksNobodyAboutAFileThatIsNotThere) {
    fs::remove(config_);
    const auto findings = checkWith("touch asked; cat message >&3").findings;
    EXPECT_FALSE(fs::exists(folder_ / "asked"));
    EXPECT_THAT(findings.mistakes, ElementsAre(StartsWith(config_.string() + ": ")));
}

TEST_F(ConfigCheck, IsAnObstacleWhereThePlatformEndsFirst) {
    EXPECT_THAT(checkWith("exit 3").findings.obstacles,
                ElementsAre(HasSubstr("its process ended before it said so")));
    EXPECT_THAT(checkWith("head -c 7 message >&3").findings.obstacles,
                ElementsAre(StartsWith("what the platform finds in the configuration is not "
                                       "known: ")));
}

TEST_F(ConfigCheck, WaitsNoLongerThanItMayAndLeavesNobodyBehind) {
    const auto findings =
        checkWith("sleep 600 & echo $! >child; echo $$ >self; wait", kPatience).findings;
    EXPECT_THAT(findings.obstacles, ElementsAre(HasSubstr("has not said so for 0 s")));
    EXPECT_NE(kill(std::stoi(contentOf(folder_ / "self")), 0), 0);
    const pid_t child = std::stoi(contentOf(folder_ / "child"));
    for (int turn = 0; turn < kMostTurns && isAlive(child); ++turn) {
        std::this_thread::sleep_for(kTurn);
    }
    EXPECT_FALSE(isAlive(child));
}

TEST_F(ConfigCheck, IsAnObstacleWhereThereIsNoHostProgram) {
    const auto findings = checkConfig({folder_ / "none", "the.so", config_}).findings;
    EXPECT_THAT(findings.obstacles,
                ElementsAre(AllOf(HasSubstr((folder_ / "none").string()),
                                  HasSubstr("give the host program with --host"))));
}

} // namespace
} // namespace service
