// SPDX-License-Identifier: MIT
// An accepted image goes to the gateway, or is downloaded and installed here.
#include "agent_test.h"
#include "orchestration_lines.h"

#include <cjson/cJSON.h>

using namespace ota::test;

namespace {

using Offload = AgentTest;
using DownloadDriver = StartedAgentTest;

constexpr char kDriver[] = "downloadAndUpgrade";
constexpr std::size_t kHandOffWidth = 4096;

void drive() { AGENT(downloadAndUpgrade)(); }

Entries driver(const std::string &body) { return both(kUnit, kDriver, body); }

// As much of the held offer's text as fits into the buffer.
std::string whatFits() {
    cJSON *object = AGENT(encode_SwmgntFileServerInfo)(&AGENT_VAR(swInfo), &AGENT_VAR(swActTime));
    std::string text(kHandOffWidth, '\0');
    cJSON_PrintPreallocated(object, text.data(), kHandOffWidth, 1);
    cJSON_Delete(object);
    return text.c_str();
}

TEST_F(Offload, HandsTheImageToTheGatewayAndReturns) {
    const Offer offer{.version = "4QZ-2.0", .policy = 0, .url = "http://127.0.0.1/i"};
    hold(offer, kOffload);
    setText(AGENT_VAR(swActTime).actTime, "03:30");

    drive();

    const std::string text = "{\n\t\"fileServerURL\":\t\"http://127.0.0.1/i\",\n"
                             "\t\"activationTime\":\t\"03:30\",\n"
                             "\t\"checksum\":\t\"0123456789abcdef\",\n"
                             "\t\"swVersion\":\t\"4QZ-2.0\"\n}";
    EXPECT_ENTRIES(
        journal().all(),
        entries(
            both("swmgmtitf", "downloadAndUpgrade", "OffloadDownloadActivate set offload to RG"),
            both("swmgmtitf", "downloadAndUpgrade", "json_fileServerinfo value [" + text + "]"),
            "nal_setSwmgntFileServerInfo " + escaped(text),
            both("swmgmtitf", "downloadAndUpgrade",
                 "Return now, offloading activation and commit to RG")));
    EXPECT_TRUE(node().signals.empty());
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(Offload, NamesNoTimeWhereTheImageIsToBeActivatedAtOnce) {
    setText(AGENT_VAR(swActTime).actTime, "03:30");
    for (const int policy : {1, 0, 2, 3, -1}) {
        const Offer offer{.policy = policy};
        hold(offer, kOffload);
        drive();
        EXPECT_ENTRIES(journal().all(), handedOver(offer, policy == 1 ? "" : "03:30"));
    }
}

TEST_F(Offload, FollowsAnyFlagThatIsNotZero) {
    const Offer offer;
    hold(offer, {0x80, 1, 1});
    drive();
    EXPECT_ENTRIES(journal().all(), handedOver(offer, ""));
}

TEST_F(Offload, NoticesARefusalAndGoesOn) {
    node().results["nal_setSwmgntFileServerInfo"] = {-1};
    const Offer offer;
    hold(offer, kOffload);

    drive();

    EXPECT_ENTRIES(journal().all(),
                   entries(driver("OffloadDownloadActivate set offload to RG"),
                           driver("json_fileServerinfo value [" + handOff(offer, "") + "]"),
                           "nal_setSwmgntFileServerInfo " + escaped(handOff(offer, "")),
                           both("swmgmtitf", "downloadAndUpgrade",
                                "Err happened in nal_setSwmgntFileServerInfo"),
                           driver("Return now, offloading activation and commit to RG")));
}

TEST_F(Offload, HandsOverAnEmptyTextWhereThereIsNoObject) {
    hold({}, kOffload);
    failAllocation(Owner::kJson, 1);

    drive();

    EXPECT_TRUE(allocationFailed());
    EXPECT_ENTRIES(journal().all(),
                   entries(driver("OffloadDownloadActivate set offload to RG"),
                           driver("json_fileServerinfo value []"), "nal_setSwmgntFileServerInfo",
                           driver("Return now, offloading activation and commit to RG")));
}

TEST_F(Offload, GoesOnWhateverMemoryIsMissing) {
    hold({}, kOffload);
    const auto isComplete = [](bool) {
        EXPECT_EQ(only(journal().actions(), {"nal_setSwmgntFileServerInfo"}).size(), 1U);
        EXPECT_ENTRIES(
            only(journal().debugLog(), {"debug downloadAndUpgrade: Return now"}),
            entries(trace(kDriver, "Return now, offloading activation and commit to RG")));
        EXPECT_EQ(outstandingJson(), 0);
        journal().clear();
    };
    withEveryAllocationFailing(Owner::kJson, isComplete, drive);
}

TEST_F(Offload, HandsOverWhatWasPrintedOfATextThatDoesNotFit) {
    const std::string name = "http://127.0.0.1/";
    for (std::size_t length = 3990; length < 4020; ++length) {
        hold({.url = name + std::string(length - name.size(), 'u')}, kOffload);
        const std::string expected = whatFits();
        drive();
        EXPECT_ENTRIES(journal().actions(),
                       entries("nal_setSwmgntFileServerInfo " + escaped(expected)));
    }
}

TEST_F(Offload, HandsOverTheBeginningOfATextWithAVeryLongUrl) {
    hold({.url = std::string(8000, 'u')}, kOffload);
    drive();
    EXPECT_ENTRIES(journal().actions(),
                   entries("nal_setSwmgntFileServerInfo {\\n\t\"fileServerURL\":\t"));
}

TEST_F(DownloadDriver, OnlyLogsTheResultWhereNothingWasFetched) {
    hold({.url = ""});

    drive();

    EXPECT_ENTRIES(journal().of({kDriver}),
                   entries(trace("downloadAndUpgrade", "Calling ota_httpDownLoadFile()..."),
                           "system rm -rf ./4QZ*", "system rm -rf ./tmpImage",
                           "system rm -rf ./software_",
                           both("swmgmtitf", "downloadAndUpgrade", "downloadRet = -1")));
}

TEST_F(DownloadDriver, OnlyLogsTheResultOfADownloadThatWillBeTriedAgain) {
    curl().responseCode = 404;
    hold({});

    drive();

    EXPECT_ENTRIES(
        journal().logsOf({kDriver}),
        entries(trace(kDriver, "Calling ota_httpDownLoadFile()..."), driver("downloadRet = 1")));
    EXPECT_ENTRIES(only(journal().actions(), {"popen", "nal_"}), Entries{});
}

TEST_F(DownloadDriver, OnlyLogsTheResultWhereTheCertificateIsMissing) {
    hold({.url = "https://127.0.0.1/image"});

    drive();

    EXPECT_ENTRIES(
        journal().logsOf({kDriver}),
        entries(trace(kDriver, "Calling ota_httpDownLoadFile()..."), driver("downloadRet = 5003")));
    EXPECT_ENTRIES(only(journal().actions(), {"startTimer", "popen", "nal_", "evbus"}), Entries{});
}

TEST_F(DownloadDriver, InstallsWhatWasDownloaded) {
    shell().popenOutput = "0123456789abcdef0123456789abcdef\n";
    hold({.policy = 3});

    drive();

    EXPECT_ENTRIES(
        journal().logsOf({kDriver, "getCurrentTime"}),
        entries(trace(kDriver, "Calling ota_httpDownLoadFile()..."),
                both("swmgmtitf", "downloadAndUpgrade", "downloadRet = 0"),
                both("swmgmtitf", "downloadAndUpgrade",
                     "Download image success... Going for Upgrade..."),
                trace("getCurrentTime", "Current System Time = 2024-03-05T10:00:00"),
                notice("upgrade", "getCurrentTime",
                       "getCurrentTime():LINE: Current System Time = 2024-03-05T10:00:00")));
    EXPECT_ENTRIES(only(journal().actions(), {"popen", "nal_"}),
                   entries("popen md5sum ./4QZ-2.0 |awk '{print $1}' r",
                           "nal_writePassiveImage ./4QZ-2.0", "nal_fallBackToActiveImage"));
}

TEST_F(DownloadDriver, PassesTheAgentsOwnDownloadContext) {
    hold({.policy = 3});
    drive();
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).url, "http://127.0.0.1/image");
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).downloadPath, "./4QZ-2.0");
    EXPECT_ENTRIES(only(journal().actions(), {"curl_easy_setopt CURLOPT_SOCKOPTDATA"}),
                   entries("curl_easy_setopt CURLOPT_SOCKOPTDATA g_httpInfo"));
}

} // namespace
