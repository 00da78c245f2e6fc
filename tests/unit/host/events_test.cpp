// SPDX-License-Identifier: MIT
// The host starts the agent in order and hands it one event at a time.
#include "host_process.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
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

TEST_F(Host, WaitsForTheManagersSocketBeforeItCallsTheAgentAndSaysSo) {
    const std::string waits =
        "notice: ota-host: the agent waits until cfgmgr_socket is there; start "
        "the configuration manager that makes it\n";
    std::filesystem::remove(in("cfgmgr_socket"));
    start();
    expect({signalOf("initOTAlib", R"(".")"), nodeNote(),
            R"({"note":"waits-for","path":"cfgmgr_socket"})"});
    EXPECT_EQ(errors(), waits);
    expectSilence();
    makeManagerSocket();
    EXPECT_NE(next().find("startTimer"), std::string::npos) << "the agent's main is called";
    EXPECT_EQ(errors(), waits);
}

TEST_F(Host, TakesNothingButASocketForTheManagers) {
    std::filesystem::remove(in("cfgmgr_socket"));
    std::ofstream(in("cfgmgr_socket")).close();
    start();
    expect(
        {signalOf("initOTAlib", R"(".")"), nodeNote(),
         R"({"note":"waits-for","path":"cfgmgr_socket","found":"cfgmgr_socket: is no socket"})"});
    EXPECT_NE(errors().find("error: ota-host: what is there is not the configuration manager's "
                            "socket: cfgmgr_socket: is no socket\n"),
              std::string::npos)
        << errors();
    expectSilence();
    std::filesystem::remove(in("cfgmgr_socket"));
    EXPECT_EQ(next(), R"({"note":"waits-for","path":"cfgmgr_socket"})");
    makeManagerSocket();
    EXPECT_NE(next().find("startTimer"), std::string::npos) << "the agent's main is called";
}

TEST_F(Host, TakesNoSocketOfAnotherUserForTheManagers) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to give the socket away";
    }
    constexpr uid_t kNobody = 65534;
    ASSERT_EQ(chown(in("cfgmgr_socket").c_str(), kNobody, kNobody), 0);
    start();
    expect({signalOf("initOTAlib", R"(".")"), nodeNote()});
    const std::string waits = next();
    EXPECT_NE(waits.find("cfgmgr_socket (owner 65534, mode 0600) belongs to neither root nor "),
              std::string::npos)
        << waits;
    expectSilence();
    ASSERT_EQ(chown(in("cfgmgr_socket").c_str(), 0, 0), 0);
    EXPECT_NE(next().find("startTimer"), std::string::npos) << "the agent's main is called";
}

TEST_F(Host, ThatWaitsForTheManagersSocketEndsWithItsSupervisor) {
    std::filesystem::remove(in("cfgmgr_socket"));
    start();
    expect({signalOf("initOTAlib", R"(".")"), nodeNote(),
            R"({"note":"waits-for","path":"cfgmgr_socket"})"});
    closeChannel();
    EXPECT_EQ(exitCode(), 0);
}

TEST_F(Host, RemovesTheFileForTheMobileAppWhereverItIs) {
    start();
    expectStartUp();
    std::ofstream(in("ota_agent_data")) << "1\n4QZ1\n4QZ2";
    send(R"({"event":"mobile-trigger","newswavailflag":0})");
    expect({signalOf("mobileTrigger", "\"0\""), R"({"done":"mobile-trigger","deferred":0})"});
    EXPECT_FALSE(std::filesystem::exists(in("ota_agent_data")));
    EXPECT_EQ(errors(), "");
}

TEST_F(Host, RemovesWhatAServerSentBehindEachCallThatMayFetch) {
    const auto isLeftBy = [this](const char *event, const std::vector<std::string> &told) {
        std::ofstream(in("4QZ2.0.0")) << "image";
        send(event);
        expect(told);
        return std::filesystem::exists(in("4QZ2.0.0"));
    };
    start();
    expectStartUp();
    std::ofstream(in("other")) << "no image";
    EXPECT_FALSE(
        isLeftBy(R"({"event":"timer","name":"downloadRetryTimer"})",
                 {signalOf("downloadRetryTimer", "\"\""), R"({"done":"timer","deferred":0})"}));
    EXPECT_FALSE(isLeftBy(
        R"({"event":"mobile-trigger","newswavailflag":1})",
        {signalOf("mobileTrigger", "\"1\""), R"({"done":"mobile-trigger","deferred":0})"}));
    EXPECT_FALSE(
        isLeftBy(R"({"event":"new-image","descriptor":"x","config":{"OffloadDownloadActivate":0,)"
                 R"("initial_obardingStatus":0,"firsttime_polling":0}})",
                 {signalOf("newImage", "\"x|1|0|0|0\""), R"({"done":"new-image","deferred":1})"}));
    EXPECT_TRUE(std::filesystem::exists(in("other")));
    // What a call left that broke off still tells how far it came.
    EXPECT_TRUE(isLeftBy(R"({"event":"begin-anew"})", {R"({"done":"begin-anew","deferred":1})"}));
}

TEST_F(Host, LeavesTheCommitCheckOutWhereItIsToldTo) {
    start(FAKE_AGENT, "--no-commit-check");
    expect({signalOf("initOTAlib", R"(".")"), nodeNote(),
            R"({"call":"startTimer","seconds":-7,"name":"rebootTimer"})", signalOf("main", "\"0\""),
            R"({"done":"start-up","deferred":0})"});
}

TEST_F(Host, HandsTheFileServerInformationOverAndTellsTheAgentWhatCameOfIt) {
    const std::string offer = R"({"event":"new-image","descriptor":"hand over","config":)"
                              R"({"OffloadDownloadActivate":1,"initial_obardingStatus":0,)"
                              R"("firsttime_polling":0}})";
    const std::string call = R"({"call":"fileServerInfo","info":"{\"swVersion\":\"1\"}"})";
    start();
    expectStartUp();
    send(offer);
    expect({call, signalOf("handOver", "\"0\""), R"({"done":"new-image","deferred":0})"});
    EXPECT_EQ(errors(), "");
    send(offer);
    ASSERT_EQ(next(), call);
    send(R"({"ack":7})");
    expect({signalOf("handOver", "\"-1\""), R"({"done":"new-image","deferred":0})"});
    EXPECT_EQ(
        errors(),
        "error: ota-host: the file-server information was not taken over (answer 7); the "
        "gateway does not know of the image, offer it again once the gateway can be reached\n");
    EXPECT_FALSE(std::filesystem::exists(in("file_server_info.json")));
}

TEST_F(Host, EndsWithTheProcessThatStartedIt) {
    hasParentOfItsOwn_ = true;
    start();
    expectStartUp();
    ASSERT_EQ(kill(child_, SIGKILL), 0);
    EXPECT_EQ(next(), "end") << "nobody closed the channel, and the host is gone all the same";
}

TEST_F(Host, HandsEveryEventToItsCall) {
    start();
    expectStartUp();
    send(R"({"event":"mobile-trigger","newswavailflag":-3})");
    expect({signalOf("mobileTrigger", "\"-3\""), R"({"done":"mobile-trigger","deferred":0})"});
    send(R"({"event":"new-image","descriptor":"not even JSON","config":)"
         R"({"OffloadDownloadActivate":255,"initial_obardingStatus":-2,"firsttime_polling":1}})");
    expect({signalOf("newImage", "\"not even JSON|1|255|-2|1\""),
            R"({"done":"new-image","deferred":1})"});
    send(R"({"event":"activation-time","record":"{}"})");
    expect({R"({"call":"notifyRoot","config":"an envelope"})", signalOf("{}", "\"0\""),
            R"({"done":"activation-time","deferred":1})"});
    for (const std::string name : {"downloadStartTimer", "downloadRetryTimer"}) {
        send(R"({"event":"timer","name":")" + name + "\"}");
        expect({signalOf(name, "\"\""), R"({"done":"timer","deferred":1})"});
    }
    send(R"({"event":"give-up-download"})");
    expect({signalOf("report", "\"OTA_RECONNECT_BUE\""),
            R"({"done":"give-up-download","deferred":1})"});
    send(R"({"event":"timer","name":"rebootTimer"})");
    expect({R"({"call":"stopTimer","name":"rebootTimer"})", signalOf("rebootTimer", "\"0\""),
            R"({"done":"timer","deferred":1})"});
}

TEST_F(Host, GivesTheAgentTheResultOfEachCall) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    send(R"({"ack":5})");
    EXPECT_EQ(next(), nodeNote());
    EXPECT_NE(next().find("startTimer"), std::string::npos);
    send(R"({"ack":-42})");
    EXPECT_EQ(next(), signalOf("main", "\"-42\""));
}

TEST_F(Host, WaitsForItsAnswerBeforeItGoesOn) {
    start();
    EXPECT_NE(next().find("initOTAlib"), std::string::npos);
    pollfd more{channel_->fd(), POLLIN, 0};
    EXPECT_EQ(poll(&more, 1, 200), 0) << "the host went on without an answer";
    send(R"({"ack":0})");
    EXPECT_EQ(next(), nodeNote());
    EXPECT_NE(next().find("startTimer"), std::string::npos);
}

TEST_F(Host, TakesASecondEventOnlyAfterTheFirstIsDone) {
    start();
    expectStartUp();
    send(R"({"event":"mobile-trigger","newswavailflag":1})");
    ASSERT_EQ(next(), signalOf("mobileTrigger", "\"1\""));
    send(R"({"ack":0})");
    send(R"({"event":"mobile-trigger","newswavailflag":2})");
    expect({R"({"done":"mobile-trigger","deferred":0})", signalOf("mobileTrigger", "\"2\""),
            R"({"done":"mobile-trigger","deferred":0})"});
}

} // namespace
