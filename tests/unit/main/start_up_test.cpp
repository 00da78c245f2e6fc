// SPDX-License-Identifier: MIT
// State at load, and the library's `main`: waiting for the configuration manager, defaults.
#include "agent_test.h"

using namespace ota::test;

namespace {

constexpr char kSocket[] = "./cfgmgr_socket";
constexpr char kTry[] = "access ./cfgmgr_socket F_OK";

template <class Object>
bool isZero(const Object &object) {
    static const Object zero{};
    return std::memcmp(&object, &zero, sizeof object) == 0;
}

class Load : public testing::Test {
  protected:
    void SetUp() override { loadAgent(); }
    void TearDown() override { unloadAgent(); }
};

TEST_F(Load, StartsWithOneFlagSetAndAllElseZero) {
    EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), 1);
    EXPECT_TRUE(isZero(AGENT_VAR(g_rebootTime)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_timerToSwmgnt)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_timerTypeToSwmgnt)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_dwldStartTimer)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_dwldRetryTimer)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_mobileTriggerExpire)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_mAppRebootTrig)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_ISDeferedUpgrade)));
    EXPECT_TRUE(isZero(AGENT_VAR(reboot_flag)));
    EXPECT_TRUE(isZero(AGENT_VAR(swInfo)));
    EXPECT_TRUE(isZero(AGENT_VAR(swUpgStat)));
    EXPECT_TRUE(isZero(AGENT_VAR(swActTime)));
    EXPECT_TRUE(isZero(AGENT_VAR(otaLibConfig)));
    EXPECT_TRUE(isZero(AGENT_VAR(md5CRC)));
    EXPECT_TRUE(isZero(AGENT_VAR(start_dw_Time)));
    EXPECT_TRUE(isZero(AGENT_VAR(stop_dw_Time)));
    EXPECT_TRUE(isZero(AGENT_VAR(g_httpInfo)));
}

class StartUp : public AgentTest {
  protected:
    static Entries called() {
        return bothDebugFirst("main", "main", "libotaSwAgent is Called...\n");
    }

    static Entries rebootTime(const std::string &time) {
        return both("main", "otaInit",
                    "Default reboot time at otaSwAgent initialisation, g_rebootTime = " + time +
                        "\n");
    }

    static Entries ownLinesAndCalls() {
        return without(journal().all(),
                       {"notice swmgmtitf", "error swmgmtitf", "debug initUpgradeStatusInfo"});
    }
};

TEST_F(StartUp, RunsAtOnceWhereTheConfigurationManagerIsUp) {
    writeFile(kSocket, "");
    EXPECT_EQ(callAgentMain(), 0);
    EXPECT_ENTRIES(ownLinesAndCalls(),
                   entries(kTry, called(), "nal_getSwAutoUpgradeInfo", rebootTime("03:30"),
                           "nal_getNodeInfo", "nal_getCurSwVersion", "nal_getPrevSwVersion",
                           "socket AF_INET SOCK_STREAM 0", "ioctl SIOCGIFHWADDR br0",
                           "close socket"));
}

TEST_F(StartUp, PollsEveryTwoSecondsUntilTheConfigurationManagerIsUp) {
    agentClock().onSleep = [](int count) {
        if (count == 2) {
            writeFile(kSocket, "");
        }
    };
    EXPECT_EQ(callAgentMain(), 0);
    const Entries beginning = journal().of({"main"});
    EXPECT_ENTRIES(beginning, entries("sleep 2", "sleep 2", called()));
    EXPECT_EQ(only(journal().all(), {kTry}).size(), 3U);
}

TEST_F(StartUp, PollsWithoutLimitAndWithoutALogLine) {
    agentClock().onSleep = [](int count) {
        if (count == 5000) {
            leaveAgent(1);
        }
    };
    EXPECT_EQ(untilLeft([] { callAgentMain(); }), 1);
    EXPECT_EQ(only(journal().all(), {"sleep 2"}).size(), 5000U);
    EXPECT_ENTRIES(journal().logs(), Entries{});
}

TEST_F(StartUp, WaitsForEverWhereThePathsWereNotBuilt) {
    unloadAgent();
    loadAgent();
    writeFile("cfgmgr_socket", "");
    agentClock().onSleep = [](int count) {
        if (count == 5000) {
            leaveAgent(1);
        }
    };
    EXPECT_EQ(untilLeft([] { callAgentMain(); }), 1);
    EXPECT_EQ(only(journal().all(), {"access  F_OK"}).size(), 5000U);
}

TEST_F(StartUp, TakesThePreferredActivationTimeOfTheNode) {
    startUp();
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "03:30");
}

TEST_F(StartUp, EmptiesTheRebootTimeWhereThePreferredOneCannotBeHad) {
    setText(AGENT_VAR(g_rebootTime), "01:00");
    node().always["nal_getSwAutoUpgradeInfo"] = -1;
    writeFile(kSocket, "");
    EXPECT_EQ(callAgentMain(), 0);
    EXPECT_STREQ(AGENT_VAR(g_rebootTime), "");
    EXPECT_ENTRIES(journal().logsOf({"main", "otaInit"}), entries(called(), rebootTime("")));
}

TEST_F(StartUp, FillsTheIdentityOfTheNode) {
    startUp();
    const UpgradeStatus &status = AGENT_VAR(swUpgStat);
    EXPECT_STREQ(status.model, "Gate-1");
    EXPECT_STREQ(status.curswversion, "1.0");
    EXPECT_STREQ(status.prevswversion, "0.9");
    EXPECT_STREQ(status.mac, "00:1A:2B:3C:4D:5E");
    EXPECT_STREQ(status.sn, "SN0001");
    EXPECT_STREQ(status.status, "");
}

TEST_F(StartUp, ReturnsZeroEvenWhereTheNodeCannotBeIdentified) {
    node().always["nal_getNodeInfo"] = -1;
    writeFile(kSocket, "");
    EXPECT_EQ(callAgentMain(), 0);
    EXPECT_STREQ(AGENT_VAR(swUpgStat).model, "");
}

TEST_F(StartUp, GivesTheDownloadContextItsDefaults) {
    startUp();
    const HttpInfo &http = AGENT_VAR(g_httpInfo);
    EXPECT_EQ(http.timeout, 3600U);
    EXPECT_EQ(http.authEnabled, 0U);
    EXPECT_STREQ(http.userName, "None");
    EXPECT_STREQ(http.password, "None");
    EXPECT_STREQ(http.certPath, AGENT(getHieCertPath)());
    EXPECT_STREQ(http.certPath, "cfg/ca.pem");
    EXPECT_STREQ(http.downloadPath, "");
    EXPECT_EQ(http.reservedValue, 0U);
    EXPECT_STREQ(http.reservedText, "");
    EXPECT_EQ(http.mss, 0);
    EXPECT_STREQ(http.url, "");
    EXPECT_TRUE(isZero(http.reservedArea));
}

TEST_F(StartUp, LeavesTheFieldsWithoutADefaultAlone) {
    HttpInfo &http = AGENT_VAR(g_httpInfo);
    std::memset(&http, 'A', sizeof http);
    startUp();
    EXPECT_EQ(http.timeout, 3600U);
    EXPECT_EQ(http.authEnabled, 0U);
    EXPECT_STREQ(http.userName, "None");
    EXPECT_STREQ(http.password, "None");
    EXPECT_STREQ(http.downloadPath, "");
    EXPECT_EQ(http.reservedValue, 0U);
    EXPECT_STREQ(http.certPath, "cfg/ca.pem");
    EXPECT_STREQ(http.reservedText, "");
    EXPECT_EQ(http.mss, 0x41414141);
    EXPECT_EQ(http.url[0], 'A');
    EXPECT_EQ(http.reservedArea[511], 'A');
}

} // namespace
