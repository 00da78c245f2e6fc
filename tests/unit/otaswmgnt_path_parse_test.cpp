// SPDX-License-Identifier: MIT
// The runtime path table: thirteen entries, their builders and their getters.
#include "agent_test.h"

#include <array>
#include <vector>

using namespace ota::test;

namespace {

struct Row {
    const char *builderName;
    char *entry;
    const char *read; // through the getter
    AgentCall<void (*)(char *, std::size_t)> build;
    const char *source;
    const char *path;
    const char *message;
};

#define ROW(global, name, source, path, message)                                                   \
    Row {                                                                                          \
        "parse" #name "Path", AGENT_VAR(global), AGENT(get##name##Path)(),                         \
            AGENT(parse##name##Path), source, path, message                                        \
    }

// With the node's directories "/tmp", "/cfg", "/log" and the certificate "/cfg/ca.pem".
std::vector<Row> table() {
    const char *tmp = "nal_getTmpDirectory";
    return {
        ROW(g_hieCertPath, HieCert, "nal_getHIECertifcatePath", "/cfg/ca.pem",
            "Invalid/NULL hie certificate argument received\n"),
        ROW(g_otaAgentData, OtaAgentData, tmp, "/tmp/ota_agent_data",
            "Invalid/NULL ota agent argument received\n"),
        ROW(g_cfgmgrSock, CfgmgrSocket, tmp, "/tmp/cfgmgr_socket",
            "Invalid/NULL cfg sock argument received\n"),
        ROW(g_imagePrefix, ImagePrefix, tmp, "/tmp/4QZ*",
            "Invalid/NULL image prefix argument received\n"),
        Row{"parseTmpImgPath", AGENT_VAR(g_tmpImage), AGENT(getTmpImgPath)(),
            AGENT(parseTmpImgPath), tmp, "/tmp/tmpImage",
            "Invalid/NULL temporary image arugment received\n"},
        ROW(g_swDwnld, SoftwareDownload, tmp, "/tmp/software_download",
            "Invalid/NULL SW download argument received\n"),
        ROW(g_otaDwnldProg, OtaDownloadProg, tmp, "/tmp/ota_dwld_prog",
            "Invalid/NULL OTA download progress argument received\n"),
        ROW(g_otamd5txt, OtaMD5Txt, tmp, "/tmp/otaMD5.txt",
            "Invalid/NULL OTA MD5 text argument received\n"),
        ROW(g_upgrdStatus, UpgradeStatus, tmp, "/tmp/upgrade_status",
            "Invalid/NULL upgrade status argument received\n"),
        ROW(g_upgrdRbtInfo, UpgradeDoneReboot, tmp, "/tmp/upgrade_done_reboot",
            "Invalid/NULL upgrade done reboot argument received\n"),
        ROW(g_lastRbtInfo, LastRebootInfo, "nal_getConfigsDirectory", "/cfg/last_reboot_info",
            "Invalid/NULL last reboot info argument received\n"),
        ROW(g_otaActSuccess, OtaActSuccess, "nal_getLogsDirectory", "/log/ota_act_success",
            "Invalid/NULL ota act success argument received\n"),
        ROW(g_otaSwLog, OtaSwAgentLog, "nal_getLogsDirectory", "/log/otaSwAgent.log",
            "Invalid/NULL ota software log argument received\n"),
    };
}

class PathTable : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        useDirectories("/tmp", "/cfg", "/log", "/cfg/ca.pem");
    }

    void useDirectories(const char *tmp, const char *configs, const char *logs,
                        const char *certificate) {
        node().tmpDirectory = tmp;
        node().configsDirectory = configs;
        node().logsDirectory = logs;
        node().certificatePath = certificate;
        readPaths();
    }
};

TEST_F(PathTable, NamesThirteenPathsUnderTheDirectoriesOfTheNode) {
    for (const Row &row : table()) {
        EXPECT_STREQ(row.entry, row.path);
    }
}

TEST_F(PathTable, IsReadThroughGettersThatGiveTheEntryItself) {
    for (const Row &row : table()) {
        EXPECT_EQ(row.read, row.entry) << row.path;
    }
}

TEST_F(PathTable, IsEmptyBeforeStartUp) {
    unloadAgent();
    loadAgent();
    for (const Row &row : table()) {
        EXPECT_STREQ(row.read, "") << row.path;
    }
}

TEST_F(PathTable, IsBuiltInItsOrderWithoutALogLine) {
    Entries sources;
    for (const Row &row : table()) {
        sources.push_back(row.source);
    }
    journal().clear();
    AGENT(initOTAlib)();
    EXPECT_ENTRIES(journal().all(), sources);
}

TEST_F(PathTable, IsTheSameWhenBuiltTwice) {
    AGENT(initOTAlib)();
    for (const Row &row : table()) {
        EXPECT_STREQ(row.entry, row.path);
    }
}

TEST_F(PathTable, FollowsTheNodeWhenBuiltAnew) {
    useDirectories("/run", "/etc", "/var", "/etc/x.pem");
    EXPECT_STREQ(AGENT(getOtaMD5TxtPath)(), "/run/otaMD5.txt");
    EXPECT_STREQ(AGENT(getLastRebootInfoPath)(), "/etc/last_reboot_info");
    EXPECT_STREQ(AGENT(getOtaActSuccessPath)(), "/var/ota_act_success");
    EXPECT_STREQ(AGENT(getHieCertPath)(), "/etc/x.pem");
}

TEST_F(PathTable, KeepsThirtyCharactersOfALongerPath) {
    const std::string longDirectory = "/" + std::string(19, 'd');
    useDirectories(longDirectory.c_str(), longDirectory.c_str(), longDirectory.c_str(),
                   "/0123456789012345678901234567890.pem");
    EXPECT_EQ(AGENT(getUpgradeDoneRebootPath)(), longDirectory + "/upgrade_d");
    EXPECT_EQ(AGENT(getOtaSwAgentLogPath)(), longDirectory + "/otaSwAgen");
    EXPECT_STREQ(AGENT(getHieCertPath)(), "/01234567890123456789012345678");
    for (const Row &row : table()) {
        EXPECT_LE(std::strlen(row.entry), 30U) << row.builderName;
    }
}

TEST_F(PathTable, KeepsAPathOfExactlyThirtyCharacters) {
    const std::string directory = "/" + std::string(19, 'd');
    useDirectories(directory.c_str(), "/cfg", "/log", "/cfg/ca.pem");
    EXPECT_EQ(AGENT(getTmpImgPath)(), directory + "/tmpImage"); // 29 characters
    useDirectories((directory + "d").c_str(), "/cfg", "/log", "/cfg/ca.pem");
    EXPECT_EQ(AGENT(getTmpImgPath)(), directory + "d/tmpImage");
    useDirectories((directory + "dd").c_str(), "/cfg", "/log", "/cfg/ca.pem");
    EXPECT_EQ(AGENT(getTmpImgPath)(), directory + "dd/tmpImag");
}

TEST_F(PathTable, TakesTheTextOfTheNodeAsItStands) {
    useDirectories("%s%d//", "", " ", "%n");
    EXPECT_STREQ(AGENT(getCfgmgrSocketPath)(), "%s%d///cfgmgr_socket");
    EXPECT_STREQ(AGENT(getLastRebootInfoPath)(), "/last_reboot_info");
    EXPECT_STREQ(AGENT(getOtaSwAgentLogPath)(), " /otaSwAgent.log");
    EXPECT_STREQ(AGENT(getHieCertPath)(), "%n");
}

TEST_F(PathTable, BuildersKeepTwoCharactersLessThanTheirSize) {
    for (const Row &row : table()) {
        char destination[16];
        std::memset(destination, '#', sizeof destination);
        row.build(destination, 10);
        EXPECT_EQ(destination, std::string(row.path).substr(0, 8)) << row.builderName;
        EXPECT_EQ(destination[9], '#') << row.builderName;
    }
}

TEST_F(PathTable, BuildersLogANullDestinationToThePlatformAndAskNothing) {
    useDirectories("/tmp", "/cfg", "log", "/cfg/ca.pem"); // with a debug log that can be written
    for (const Row &row : table()) {
        const std::string before = row.entry;
        journal().clear();
        row.build(nullptr, 32);
        EXPECT_ENTRIES(journal().all(),
                       entries(error("otaswmgnt_path_parse", row.builderName, row.message)));
        EXPECT_EQ(row.entry, before);
    }
}

} // namespace
