// SPDX-License-Identifier: MIT
// The host starts the agent in order, and whatever it cannot use ends it with one clear line.
#include "host_process.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <unistd.h>

namespace {

class Host : public HostProcess {};

TEST_F(Host, StartsTheAgentInOrderAndEndsWithTheChannel) {
    start();
    expectStartUp();
    closeChannel();
    EXPECT_EQ(exitCode(), 0);
    EXPECT_EQ(errors(), "");
}

TEST_F(Host, KeepsTheNodeToItselfUntilItEnds) {
    start();
    expectStartUp();
    const int lock = open(in("boot_state.lock").c_str(), O_RDWR);
    ASSERT_GE(lock, 0);
    EXPECT_NE(flock(lock, LOCK_EX | LOCK_NB), 0);
    closeChannel();
    EXPECT_EQ(exitCode(), 0);
    EXPECT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    close(lock);
}

TEST_F(Host, LeavesTheCommitCheckOutWhereItIsToldTo) {
    start(FAKE_AGENT, "--no-commit-check");
    expect({signalOf("initOTAlib", R"(".")"), nodeNote(),
            R"({"call":"startTimer","seconds":-7,"name":"rebootTimer"})", signalOf("main", "\"0\""),
            R"({"done":"start-up","deferred":0})"});
}

TEST_F(Host, ToldToCheckOnlySaysWhatThePlatformFinds) {
    std::filesystem::remove(in("a"));
    start(FAKE_AGENT, "--check");
    const std::string told = next();
    EXPECT_NE(told.find(R"({"mistakes":[")" + configPath_ + ":"), std::string::npos) << told;
    EXPECT_NE(told.find("[banks] a "), std::string::npos) << told;
    EXPECT_NE(told.find(R"("],"obstacles":[],"warnings":[]})"), std::string::npos) << told;
    EXPECT_EQ(next(), "end");
    EXPECT_EQ(exitCode(), 0);
}

TEST_F(Host, ToldToCheckSaysWhyThePlatformCannotBeAsked) {
    start(FAKE_AGENT, "--check --platform " FAKE_AGENT);
    const std::string told = next();
    EXPECT_NE(told.find(R"({"mistakes":[],"obstacles":[")"), std::string::npos) << told;
    EXPECT_NE(told.find("the platform cannot be opened: "), std::string::npos) << told;
    EXPECT_EQ(next(), "end");
}

TEST_F(Host, EndsWithTheProcessThatStartedIt) {
    hasParentOfItsOwn_ = true;
    start();
    expectStartUp();
    ASSERT_EQ(kill(child_, SIGKILL), 0);
    EXPECT_EQ(next(), "end") << "nobody closed the channel, and the host is gone all the same";
}

TEST_F(Host, MissingConfigurationEndsTheHost) {
    std::filesystem::remove(configPath_);
    start();
    expectEnd(configPath_ + ": cannot be opened: No such file or directory", 9);
}

TEST_F(Host, BrokenConfigurationEndsTheHost) {
    std::ofstream(configPath_) << "[node]\nmodel\n";
    start();
    expectLastWords("config-wrong", configPath_ + ":2: ");
    expectEnd(configPath_ + ":2: expected \"[section]\"", 9);
}

TEST_F(Host, ANodeThatOthersMayWriteToEndsTheHost) {
    std::filesystem::permissions(in(""), std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    start();
    expectEnd(": the configuration cannot be trusted: ", 9);
}

TEST_F(Host, NodeThatAnotherProcessRunsEndsTheHost) {
    const int lock = open(in("boot_state.lock").c_str(), O_RDWR | O_CREAT, 0644);
    ASSERT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    start();
    expectLastWords("node-in-use", in("boot_state.lock"));
    expectEnd(in("boot_state.lock") + ": another process runs this node; stop that");
    close(lock);
}

TEST_F(Host, ABootStateThatCannotBeReadEndsTheHost) {
    const std::string state = in("boot_state");
    std::filesystem::remove(state);
    start();
    expectLastWords("boot-state-unreadable", state + ": the boot state cannot be read");
    expectEnd(state);
    std::filesystem::remove(in("errors"));
    startOver();
    std::filesystem::create_directory(state);
    start();
    expectLastWords("boot-state-unreadable", state);
    expectEnd(state);
}

TEST_F(Host, BadOptionsEndItAndSayHowToCallIt) {
    const std::string noSocket = ": expected the number of an open socket";
    const std::pair<std::vector<std::string>, std::string> calls[] = {
        {{}, "--library is missing"},
        {{"--library", "l", "--config", "c"}, "--channel is missing"},
        {{"--colour"}, "--colour: there is no such option"},
        {{"--channel"}, "--channel needs a value, FD"},
        {{"--channel", "3x"}, "--channel is \"3x\"" + noSocket},
        {{"--library", "l", "--config", "c", "--channel", "0"}, "--channel is \"0\"" + noSocket},
        {{"--library", "l", "--config", "c", "--channel", "99"}, "--channel is \"99\"" + noSocket},
        {{"--activated", "c:1"}, "--activated is \"c:1\": expected a or b, a colon and a version"},
    };
    for (const auto &[arguments, complaint] : calls) {
        startWith(arguments);
        EXPECT_EQ(exitCode(), 2);
        EXPECT_EQ(errors(), "ota-host: " + complaint + "; see ota-host --help\n");
        std::filesystem::remove(in("errors"));
    }
}

} // namespace
