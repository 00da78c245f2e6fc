// SPDX-License-Identifier: MIT
// The agent is called once the configuration manager's socket is there.
#include "host_process.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

class ManagerSocket : public HostProcess {};

TEST_F(ManagerSocket, IsWaitedForBeforeTheAgentIsCalledAndThatIsSaid) {
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

TEST_F(ManagerSocket, IsASocketAndNothingElse) {
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

TEST_F(ManagerSocket, IsNoneOfAnotherUser) {
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

TEST_F(ManagerSocket, IsWaitedForAsLongAsTheSupervisorLives) {
    std::filesystem::remove(in("cfgmgr_socket"));
    start();
    expect({signalOf("initOTAlib", R"(".")"), nodeNote(),
            R"({"note":"waits-for","path":"cfgmgr_socket"})"});
    closeChannel();
    EXPECT_EQ(exitCode(), 0);
}

} // namespace
