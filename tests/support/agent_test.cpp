// SPDX-License-Identifier: MIT
// The fixture: a fresh library, node, clock and folder for every test.
#include "agent_test.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace ota::test {

namespace {

std::string newFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "ota-test-XXXXXX").string();
    return mkdtemp(name.data()) != nullptr ? name : std::string();
}

} // namespace

void AgentTest::SetUp() {
    mFolder = newFolder();
    ASSERT_FALSE(mFolder.empty()) << "no folder to test in: set TMPDIR to a writable directory";
    std::filesystem::current_path(mFolder);
    std::filesystem::create_directory("cfg");
    std::filesystem::create_directory("log");
    node() = Node{};
    files() = Files{};
    shell() = Shell{};
    curl() = Curl{};
    agentClock().reset();
    journal().reset();
    allowPlainDebugText(false);
    watchJsonAllocations();
    loadAgent();
    readPaths();
}

void AgentTest::TearDown() {
    stopFailingAllocations();
    unloadAgent();
    std::filesystem::current_path("/");
    if (!mFolder.empty()) {
        std::filesystem::remove_all(mFolder);
    }
}

void AgentTest::readPaths() {
    AGENT(initOTAlib)();
    journal().clear();
}

void AgentTest::startUp() {
    AGENT(initOTAlib)();
    writeFile(AGENT_VAR(g_cfgmgrSock), "");
    callAgentMain();
    journal().clear();
}

void StartedAgentTest::SetUp() {
    AgentTest::SetUp();
    startUp();
}

} // namespace ota::test
