// SPDX-License-Identifier: MIT
// The host process from the daemon's side: messages, ends, kills. A shell script stands for it.
#include "service/host_process.h"

#include "base/json.h"
#include "tests/support/results.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace service {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint64_t kTurnUs = 100'000;
constexpr int kMostTurns = 100;

class Host : public testing::Test {
  protected:
    Host() {
        sigset_t child;
        sigemptyset(&child);
        sigaddset(&child, SIGCHLD);
        sigprocmask(SIG_BLOCK, &child, nullptr);
        char name[] = "/tmp/ota-host-test.XXXXXX";
        folder_ = mkdtemp(name);
    }
    ~Host() override { fs::remove_all(folder_); }

    // The script's descriptor 3 is the channel.
    HostProcess make(const std::string &script) {
        const fs::path program = folder_ / "host";
        std::ofstream(program) << "#!/bin/sh\n" << script << "\n";
        fs::permissions(program, fs::perms::owner_all);
        return HostProcess(
            loop_.get(), {program, "the.so", "node.conf"},
            {[this](const cJSON &message) { messages_.push_back(base::printed(&message)); },
             [this](const std::string &how) { ends_.push_back(how); }});
    }

    void runUntilItEnds() {
        for (int turn = 0; turn < kMostTurns && ends_.empty(); ++turn) {
            sd_event_run(loop_.get(), kTurnUs);
        }
    }

    static bool becomesTrue(const std::function<bool()> &condition) {
        for (int i = 0; i < kMostTurns && !condition(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return condition();
    }

    std::string argumentsOf(const std::vector<std::string> &options) {
        HostProcess host = make("echo \"$*\" >" + (folder_ / "arguments").string());
        EXPECT_TRUE(succeeds(host.start(options), whatIsWrong_)) << whatIsWrong_;
        runUntilItEnds();
        std::ifstream file(folder_ / "arguments");
        std::string line;
        std::getline(file, line);
        return line;
    }

    EventLoop loop_ = newLoop();
    fs::path folder_;
    std::vector<std::string> messages_;
    std::vector<std::string> ends_;
    std::string whatIsWrong_;
};

TEST_F(Host, is_started_with_library_configuration_and_channel) {
    EXPECT_EQ(argumentsOf({}), "--library the.so --config node.conf --channel 3");
}

TEST_F(Host, is_told_what_more_it_is_to_know) {
    EXPECT_EQ(argumentsOf({"--activated", "a:4QZ2.0.0"}),
              "--library the.so --config node.conf --channel 3 --activated a:4QZ2.0.0");
}

TEST_F(Host, gets_no_other_descriptor_than_the_channel) {
    const int other = fcntl(STDERR_FILENO, F_DUPFD, 800); // a library that marks none of its own
    HostProcess host =
        make("[ -e /proc/self/fd/3 ] && [ ! -e /proc/self/fd/" + std::to_string(other) + " ]");
    ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
    close(other);
    runUntilItEnds();
    EXPECT_THAT(ends_, ElementsAre("it ended with code 0"));
}

TEST_F(Host, is_heard_until_its_end_which_tells_the_code) {
    // {"n":1} behind its length
    HostProcess host = make(R"(printf '\007\000\000\000{"n":1}' >&3; exit 7)");
    ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
    runUntilItEnds();
    EXPECT_THAT(messages_, ElementsAre(R"({"n":1})"));
    EXPECT_THAT(ends_, ElementsAre("it ended with code 7"));
    EXPECT_FALSE(host.running());
}

// Nothing is read before it has ended: then end and message are seen in one turn. What else is
// ready shuffles their order.
TEST_F(Host, that_ends_with_its_last_words_is_heard_all_the_same) {
    for (int times = 0; times < 20; ++times) {
        ASSERT_GE(sd_event_add_post(
                      loop_.get(), nullptr, [](sd_event_source *, void *) { return 0; }, nullptr),
                  0);
        HostProcess host = make(R"(printf '\007\000\000\000{"n":1}' >&3; exit 7)");
        messages_.clear();
        ends_.clear();
        ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
        siginfo_t ended{};
        ASSERT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
        runUntilItEnds();
        ASSERT_THAT(messages_, ElementsAre(R"({"n":1})"));
        ASSERT_THAT(ends_, ElementsAre("it ended with code 7"));
    }
}

TEST_F(Host, that_died_of_a_signal_tells_which) {
    HostProcess host = make("kill -SEGV $$");
    ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
    runUntilItEnds();
    EXPECT_THAT(ends_, ElementsAre("it was ended by signal 11"));
}

TEST_F(Host, killed_here_ends_without_a_reason_and_with_all_that_it_started) {
    HostProcess host = make("sleep 60 & echo $! >" + (folder_ / "child").string() +
                            "; printf '\\002\\000\\000\\000{}' >&3; wait");
    ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
    for (int turn = 0; turn < kMostTurns && messages_.empty(); ++turn) {
        sd_event_run(loop_.get(), kTurnUs);
    }
    ASSERT_FALSE(messages_.empty());
    int child = 0;
    std::ifstream(folder_ / "child") >> child;
    ASSERT_GT(child, 0);
    host.kill();
    runUntilItEnds();
    EXPECT_THAT(ends_, ElementsAre(""));
    // Killed it is by now, but gone only when the machine gets to it.
    EXPECT_TRUE(becomesTrue([&] {
        std::ifstream status("/proc/" + std::to_string(child) + "/stat");
        const std::string text((std::istreambuf_iterator<char>(status)), {});
        return text.empty() || text.find(") Z ") != std::string::npos;
    }));
}

TEST_F(Host, that_talks_nonsense_is_ended_and_the_nonsense_told) {
    HostProcess host = make(R"(printf '\003\000\000\000abc' >&3; sleep 60)");
    ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
    runUntilItEnds();
    EXPECT_THAT(ends_, ElementsAre(HasSubstr("not one JSON object")));
}

TEST_F(Host, that_is_missing_is_told_at_once) {
    HostProcess host(loop_.get(), {"/nonexistent/host", "l", "c"}, {});
    EXPECT_FALSE(succeeds(host.start({}), whatIsWrong_));
    EXPECT_THAT(whatIsWrong_, HasSubstr("/nonexistent/host: cannot be started"));
}

TEST_F(Host, can_be_started_again_after_its_end) {
    HostProcess host = make("exit 0");
    ASSERT_TRUE(succeeds(host.start({}), whatIsWrong_));
    runUntilItEnds();
    ends_.clear();
    ASSERT_TRUE(succeeds(host.start({"--no-commit-check"}), whatIsWrong_));
    runUntilItEnds();
    EXPECT_THAT(ends_, ElementsAre("it ended with code 0"));
}

} // namespace
} // namespace service
