// SPDX-License-Identifier: MIT
// Whatever the host cannot use ends it with one clear line and a non-zero exit.
#include "host_process.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <unistd.h>

namespace {

class HostFailure : public HostProcess {
  protected:
    // One line that begins with the program and holds the text; the exit code.
    int endsWith(const std::string &text) {
        const int code = exitCode();
        const std::string line = errors();
        EXPECT_EQ(line.find("error: ota-host: "), 0U) << line;
        EXPECT_NE(line.find(text), std::string::npos) << line;
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
        return code;
    }

    // What the supervisor hears before the end.
    void expectLastWords(const std::string &reason, const std::string &text) {
        const std::string note = next();
        EXPECT_EQ(note.find(R"({"note":"last-words","reason":")" + reason + R"(","text":")"), 0U)
            << note;
        EXPECT_NE(note.find(text), std::string::npos) << note;
        EXPECT_EQ(next(), "end");
    }
};

struct BadEvent {
    const char *json;
    const char *complaint;
};

class BadEvents : public HostFailure, public testing::WithParamInterface<BadEvent> {};

TEST_P(BadEvents, EndTheHostWithoutACallOfTheAgent) {
    start();
    expectStartUp();
    send(GetParam().json);
    expectLastWords("none", "event");
    EXPECT_EQ(endsWith(GetParam().complaint), 1);
}

const BadEvent kBadEvents[] = {
    {R"({})", "\"event\" is missing or no text: expected a text"},
    {R"({"event":7})", "\"event\" is missing or no text: expected a text"},
    {R"({"ack":0})", "\"event\" is missing or no text: expected a text"},
    {R"({"event":"reboot"})", "the event \"reboot\" is not known: expected new-image, mobile-"},
    {R"({"event":"mobile-trigger"})", "\"mobile-trigger\": \"newswavailflag\" is missing or no"},
    {R"({"event":"mobile-trigger","newswavailflag":"1"})", "\"newswavailflag\" is missing or no"},
    {R"({"event":"mobile-trigger","newswavailflag":1.5})", "\"newswavailflag\" is missing or no"},
    {R"({"event":"mobile-trigger","newswavailflag":3e9})", "\"newswavailflag\" is missing or no"},
    {R"({"event":"activation-time","record":{}})", "\"record\" is missing or no text"},
    {R"({"event":"forget"})", "the event \"forget\": \"version\" is missing or no text"},
    {R"({"event":"timer"})", "the event \"timer\": \"name\" is missing or no text"},
    {R"({"event":"timer","name":"eggTimer"})", "the timer \"eggTimer\" is not known: expected"},
    {R"({"event":"new-image","config":{}})", "\"descriptor\" is missing or no text"},
    {R"({"event":"new-image","descriptor":"{}"})", "\"config\" is missing or no object"},
    {R"({"event":"new-image","descriptor":"{}","config":{"OffloadDownloadActivate":0,)"
     R"("initial_obardingStatus":0}})",
     "\"firsttime_polling\" is missing or no whole number"},
    {R"({"event":"new-image","descriptor":"{}","config":{"OffloadDownloadActivate":256,)"
     R"("initial_obardingStatus":0,"firsttime_polling":0}})",
     "\"OffloadDownloadActivate\" is out of range: expected 0 to 255"},
};

INSTANTIATE_TEST_SUITE_P(Host, BadEvents, testing::ValuesIn(kBadEvents));

TEST_F(HostFailure, GarbageInTheChannelEndsTheHost) {
    start();
    expectStartUp();
    ASSERT_EQ(write(channel_->fd(), "\x02\0\0\0[]", 6), 6);
    EXPECT_EQ(endsWith("a message of 2 bytes is not one JSON object without NUL characters"), 1);
}

TEST_F(HostFailure, ChannelClosedBeforeAnAnswerEndsTheHost) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    closeChannel();
    EXPECT_EQ(endsWith("the supervisor closed the channel before it answered the call signal"), 1);
}

TEST_F(HostFailure, EventInsteadOfAnAnswerEndsTheHost) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    send(R"({"event":"timer","name":"rebootTimer"})");
    EXPECT_EQ(endsWith("the supervisor did not answer the call signal with {\"ack\": number}"), 1);
}

TEST_F(HostFailure, SupervisorThatEndedBeforeTheHostBeganEndsTheHost) {
    closeChannel();
    start();
    EXPECT_EQ(endsWith("the supervisor ended before the host began; start it again"), 1);
}

TEST_F(HostFailure, MissingLibraryEndsTheHost) {
    start(in("none.so"));
    expectLastWords("library-unusable", in("none.so"));
    EXPECT_EQ(endsWith(in("none.so")), 1);
}

TEST_F(HostFailure, LibraryWithoutASymbolEndsTheHost) {
    start(FAKE_AGENT_WITHOUT_QUERY);
    EXPECT_EQ(endsWith("has no symbol ota_ISUpgradeDefered; give a libotaSwAgent.so"), 1);
}

TEST_F(HostFailure, MissingConfigurationEndsTheHost) {
    std::filesystem::remove(configPath_);
    start();
    EXPECT_EQ(endsWith(configPath_ + ": cannot be opened: No such file or directory"), 9);
}

TEST_F(HostFailure, BrokenConfigurationEndsTheHost) {
    std::ofstream(configPath_) << "[node]\nmodel\n";
    start();
    expectLastWords("config-wrong", configPath_ + ":2: ");
    EXPECT_EQ(endsWith(configPath_ + ":2: expected \"[section]\""), 9);
}

TEST_F(HostFailure, ANodeThatOthersMayWriteToEndsTheHost) {
    std::filesystem::permissions(in(""), std::filesystem::perms::others_write,
                                 std::filesystem::perm_options::add);
    start();
    EXPECT_EQ(endsWith(": the configuration cannot be trusted: "), 9);
}

TEST_F(HostFailure, NodeThatAnotherProcessRunsEndsTheHost) {
    const int lock = open(in("boot_state.lock").c_str(), O_RDWR | O_CREAT, 0644);
    ASSERT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
    start();
    expectLastWords("node-in-use", in("boot_state.lock"));
    EXPECT_EQ(endsWith(in("boot_state.lock") + ": another process runs this node; stop that"), 1);
    close(lock);
}

TEST_F(HostFailure, ABootStateThatCannotBeReadEndsTheHost) {
    const std::string state = in("boot_state");
    std::filesystem::remove(state);
    start();
    expectLastWords("boot-state-unreadable", state + ": the boot state cannot be read");
    EXPECT_EQ(endsWith(state), 1);
    std::filesystem::remove(in("errors"));
    startOver();
    std::filesystem::create_directory(state);
    start();
    expectLastWords("boot-state-unreadable", state);
    EXPECT_EQ(endsWith(state), 1);
}

TEST_F(HostFailure, BadOptionsEndTheHostAndSayHowToCallIt) {
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
