// SPDX-License-Identifier: MIT
// One attempt from its first line to its last: the whole road, and the ways out before a transfer.
#include "download_fixture.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

using namespace ota::test;

namespace {

using Download = DownloadTest;

Entries cleanUp() {
    return entries(said("Removing the image files for last time failure"), "system rm -rf ./4QZ*",
                   "system rm -rf ./tmpImage", "system rm -rf ./software_");
}

Entries takingUrl() {
    const std::string url = kUrl;
    return entries(trace(kDownload, "Image download path=File Server URL = " + url + "--" + url),
                   trace(kDownload, "Required Image Name is \"4QZ-2.0\""),
                   said("path " + url + " fileServerURL -" + url + ", Image Name 4QZ-2.0"));
}

Entries openingTransfer() {
    return entries(said("imgName is derived is \"4QZ-2.0\""), "curl_global_init CURL_GLOBAL_ALL",
                   "curl_easy_init", "nal_getTmpDirectory",
                   both("swmgmtitf", "ota_getFileDownloadPath", "download path = ./4QZ-2.0"));
}

// libcurl spells CURLOPT_PROGRESSDATA by its newer name.
Entries plainOptions() {
    return entries(
        "curl_easy_setopt CURLOPT_VERBOSE 1", "curl_easy_setopt CURLOPT_TIMEOUT 600",
        std::string("curl_easy_setopt CURLOPT_URL ") + kUrl,
        "curl_easy_setopt CURLOPT_PROGRESSFUNCTION file-local",
        "curl_easy_setopt CURLOPT_XFERINFODATA pointer", "curl_easy_setopt CURLOPT_NOPROGRESS 0",
        "curl_easy_setopt CURLOPT_WRITEFUNCTION dlFile_writeFunc",
        "curl_easy_setopt CURLOPT_WRITEDATA stream of ./4QZ-2.0",
        said("httpInfo->certPath = cfg/ca.pem"),
        said("After copy - httpInfo->certPath = cfg/ca.pem"),
        "curl_easy_setopt CURLOPT_SOCKOPTFUNCTION curlSockOptCallback",
        "curl_easy_setopt CURLOPT_SOCKOPTDATA g_httpInfo",
        "curl_easy_setopt CURLOPT_LOCALPORT 47791", "curl_easy_setopt CURLOPT_LOCALPORTRANGE 16");
}

TEST_F(Download, GoesItsWholeRoadOnResponse200) {
    journal().watchFiles();

    EXPECT_EQ(download(), 0);

    EXPECT_ENTRIES(
        journal().all(),
        entries(cleanUp(), takingUrl(), openingTransfer(), "fopen ./4QZ-2.0 wb", plainOptions(),
                "curl_easy_perform", said("Completed Image Download - curl_easy_perform"),
                "curl_easy_getinfo CURLINFO_RESPONSE_CODE", said("receiving response code 200"),
                "curl_easy_cleanup", "curl_global_cleanup", "fclose ./4QZ-2.0"));
}

TEST_F(Download, LeavesNoHandleAndNoFileOpenBehindASuccess) {
    EXPECT_EQ(download(), 0);
    EXPECT_EQ(curl().openHandles, 0);
    EXPECT_TRUE(files().open.empty());
}

TEST_F(Download, KeepsEveryByteThatTheServerSends) {
    const std::string image("first\0second\xff", 13);
    curl().perform = [&](Transfer &transfer) {
        EXPECT_EQ(transfer.write(image.substr(0, 6)), 6U);
        EXPECT_EQ(transfer.write(image.substr(6)), 7U);
        return CURLE_OK;
    };

    EXPECT_EQ(download(), 0);
    EXPECT_EQ(contentOf("4QZ-2.0"), image);
}

TEST_F(Download, TruncatesAnOlderFileOfTheName) {
    writeFile("4QZ-2.0", "an older and longer image");
    curl().perform = [](Transfer &transfer) {
        transfer.write("new");
        return CURLE_OK;
    };

    EXPECT_EQ(download(), 0);
    EXPECT_EQ(contentOf("4QZ-2.0"), "new");
}

TEST_F(Download, LeavesAPartialFileAfterAFailure) {
    curl().perform = [](Transfer &transfer) {
        transfer.write("half an im");
        return CURLE_PARTIAL_FILE;
    };

    EXPECT_EQ(download(), 1);
    EXPECT_EQ(contentOf("4QZ-2.0"), "half an im");
}

TEST_F(Download, DoesNothingForAnEmptyUrlOnceItHasCleanedUp) {
    offer("", kVersion);
    journal().watchFiles();

    EXPECT_EQ(download(), -1);

    EXPECT_ENTRIES(journal().all(),
                   entries(cleanUp(), trace(kDownload, "Image download path=File Server URL = --"),
                           trace(kDownload, "Required Image Name is \"4QZ-2.0\""),
                           said("path  fileServerURL -, Image Name 4QZ-2.0"),
                           said("Received URL is Empty... Do Nothing!!!")));
}

TEST_F(Download, ForgetsTheUrlOfTheLastDownload) {
    EXPECT_EQ(download(), 0);
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).url, kUrl);

    offer("", kVersion);
    EXPECT_EQ(download(), -1);
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).url, "");
}

TEST_F(Download, TakesAShorterUrlAfterALongerOneWithoutItsEnd) {
    offer("http://files.example/a/much/longer/road/to/gate.img", kVersion);
    EXPECT_EQ(download(), 0);
    offer(kUrl, kVersion);
    EXPECT_EQ(download(), 0);
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).url, kUrl);
}

TEST_F(Download, ReportsItsStatusWhereNoHandleCanBeMade) {
    setText(AGENT_VAR(swUpgStat).status, "OTA_RECONNECT_BUE");
    curl().initFails = true;
    journal().watchFiles();

    EXPECT_EQ(download(), -1);

    EXPECT_ENTRIES(journal().all(), entries(cleanUp(), takingUrl(), openingTransfer(),
                                            said("swUpgStat.status=OTA_RECONNECT_BUE")));
}

TEST_F(Download, LeavesWithoutAMessageWhereTheImageCannotBeCreated) {
    files().failOpen["./4QZ-2.0"] = EROFS;

    EXPECT_EQ(download(), -1);

    EXPECT_ENTRIES(journal().all(), entries(cleanUp(), takingUrl(), openingTransfer(),
                                            "curl_easy_cleanup", "curl_global_cleanup"));
    EXPECT_EQ(curl().openHandles, 0);
}

TEST_F(Download, DoesNotCountAWayOutBeforeTheTransfer) {
    failBefore(6);
    files().failOpen["./4QZ-2.0"] = EROFS;
    EXPECT_EQ(download(), -1);
    files().failOpen.clear();
    curl().initFails = true;
    EXPECT_EQ(download(), -1);
    curl().initFails = false;

    answer(504);
    EXPECT_EQ(download(), 1) << "the series still waits";
}

TEST_F(Download, NamesTheImageByTheFirst14CharactersOfTheVersion) {
    offer(kUrl, "4QZ-2.0-build-77");
    EXPECT_EQ(download(), 0);
    EXPECT_TRUE(exists("4QZ-2.0-build-"));
    EXPECT_STREQ(AGENT_VAR(g_httpInfo).downloadPath, "./4QZ-2.0-build-");
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf ota_httpDownLoadFile: imgName",
                                       "notice swmgmtitf ota_getFileDownloadPath"}),
        entries(
            notice("swmgmtitf", kDownload, "imgName is derived is \"4QZ-2.0-build-\""),
            notice("swmgmtitf", "ota_getFileDownloadPath", "download path = ./4QZ-2.0-build-")));
}

TEST_F(Download, TakesANameOf14CharactersWhole) {
    offer(kUrl, "4QZ-2.0-build7");
    EXPECT_EQ(download(), 0);
    EXPECT_TRUE(exists("4QZ-2.0-build7"));
}

TEST_F(Download, WritesIntoTheTemporaryDirectoryOfTheNode) {
    std::filesystem::create_directory("spool");
    node().tmpDirectory = "spool";
    EXPECT_EQ(download(), 0);
    EXPECT_TRUE(exists("spool/4QZ-2.0"));
}

TEST_F(Download, BuildsTheDownloadPathWithoutALimit) {
    node().tmpDirectory = std::string(300, 'd');
    char path[400];
    std::memset(path, '#', sizeof path);
    AGENT(ota_getFileDownloadPath)(path, "4QZ-2.0-build7");
    EXPECT_EQ(std::string(path), std::string(300, 'd') + "/4QZ-2.0-build7");
    EXPECT_EQ(path[std::strlen(path) + 1], '#') << "nothing behind the text is written";
    EXPECT_ENTRIES(journal().logs(), both("swmgmtitf", "ota_getFileDownloadPath",
                                          "download path = " + std::string(path)));
}

TEST_F(Download, ReturnsTheDebugLogsResultForThePath) {
    char path[256];
    EXPECT_EQ(AGENT(ota_getFileDownloadPath)(path, "x"), 0);
}

TEST_F(Download, CountsWrittenItemsAndNotBytes) {
    std::FILE *stream = std::fopen("items", "wb");
    char data[] = "abcdef";
    EXPECT_EQ(AGENT(dlFile_writeFunc)(data, 2, 3, stream), 3U);
    std::fclose(stream);
    EXPECT_EQ(contentOf("items"), "abcdef");
}

TEST_F(Download, ReportsAShortWriteSoThatTheTransferStops) {
    std::FILE *stream = std::fopen("/dev/full", "wb");
    ASSERT_NE(stream, nullptr);
    std::setvbuf(stream, nullptr, _IONBF, 0);
    char data[] = "abcdef";
    EXPECT_EQ(AGENT(dlFile_writeFunc)(data, 1, 6, stream), 0U);
    std::fclose(stream);
}

} // namespace
