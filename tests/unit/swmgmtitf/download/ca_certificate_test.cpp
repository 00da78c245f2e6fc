// SPDX-License-Identifier: MIT
// The check of the CA certificate that stands before every https transfer.
#include "download_fixture.h"

#include <cerrno>

using namespace ota::test;

namespace {

constexpr char kCheck[] = "get_https_cacert_file_status";

class CaCertificate : public DownloadTest {
  protected:
    void SetUp() override {
        DownloadTest::SetUp();
        offer("https://files.example/gate.img", kVersion);
    }

    Entries checkLog() const { return journal().logsOf({kCheck}); }

    // One download whose certificate access fails with this number.
    Entries logWith(int error) {
        files().failAccess["cfg/ca.pem"] = error;
        EXPECT_EQ(download(), 5003);
        return checkLog();
    }

    static Entries logged(const char *body) {
        return entries(both("swmgmtitf", kCheck, "path = cfg/ca.pem"),
                       bothErrors("swmgmtitf", kCheck, body));
    }
};

TEST_F(CaCertificate, LetsTheTransferGoOnWhereTheFileExists) {
    writeFile("cfg/ca.pem", "");
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(checkLog(), both("swmgmtitf", kCheck, "path = cfg/ca.pem"));
    EXPECT_ENTRIES(only(journal().withoutLogs(), {"access"}), entries("access cfg/ca.pem F_OK"));
}

TEST_F(CaCertificate, IsToldToBeMissing) {
    EXPECT_EQ(download(), 5003);
    EXPECT_ENTRIES(checkLog(), logged("OTASwAgent Verifed Certificate not exist"));
}

TEST_F(CaCertificate, IsToldToBeOutOfReach) {
    EXPECT_ENTRIES(logWith(EACCES), logged("OTASwAgent Verifed Certificate not accessible"));
}

TEST_F(CaCertificate, IsToldToBeFaultyForEveryOtherReason) {
    EXPECT_ENTRIES(logWith(ELOOP), logged("OTASwAgent verified Certificate accessible error"));
}

TEST_F(CaCertificate, EndsTheDownloadAfterTheGeneralOptionsWhereItIsMissing) {
    journal().watchFiles();
    EXPECT_EQ(download(), 5003);
    EXPECT_ENTRIES(
        behind(journal().of({kDownload}), "curl_easy_setopt CURLOPT_WRITEDATA stream of ./4QZ-2.0"),
        entries(said("httpInfo->certPath = cfg/ca.pem"),
                said("After copy - httpInfo->certPath = cfg/ca.pem"), "fclose ./4QZ-2.0",
                "curl_easy_cleanup", "curl_global_cleanup"));
    EXPECT_EQ(curl().openHandles, 0);
}

TEST_F(CaCertificate, IsNeitherReportedNorRetriedWhereItIsMissing) {
    EXPECT_EQ(download(), 5003);
    EXPECT_TRUE(node().signals.empty());
    EXPECT_ENTRIES(timers(), Entries{});
    EXPECT_EQ(AGENT_VAR(g_dwldRetryTimer), 0);
    EXPECT_FALSE(exists("ota_dwld_prog"));
}

TEST_F(CaCertificate, LeavesAnEmptyImageFileWhereItIsMissing) {
    EXPECT_EQ(download(), 5003);
    EXPECT_TRUE(exists("4QZ-2.0"));
    EXPECT_EQ(contentOf("4QZ-2.0"), "");
}

TEST_F(CaCertificate, LeavesAPendingSeriesAsItIsWhereItIsMissing) {
    offer(kUrl, kVersion);
    failBefore(3);
    offer("https://files.example/gate.img", kVersion);
    EXPECT_EQ(download(), 5003);
    EXPECT_ENTRIES(only(journal().actions(), {"system echo", "startTimer", "stopTimer"}),
                   Entries{});

    offer(kUrl, kVersion);
    EXPECT_EQ(download(), 1);
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf ota_httpDownLoadFile: download_retry"}),
        entries(notice("swmgmtitf", kDownload, "download_retry = 4")));
}

TEST_F(CaCertificate, IsNotLookedForOnPlainHttp) {
    offer(kUrl, kVersion);
    EXPECT_EQ(download(), 0);
    EXPECT_ENTRIES(checkLog(), Entries{});
    EXPECT_ENTRIES(only(journal().withoutLogs(), {"access"}), Entries{});
}

TEST_F(CaCertificate, IsNamedBeforeItIsLookedFor) {
    EXPECT_EQ(download(), 5003);
    const std::string named = notice("swmgmtitf", kCheck, "path = cfg/ca.pem");
    EXPECT_ENTRIES(only(journal().all(), {"access", named}),
                   entries(named, "access cfg/ca.pem F_OK"));
}

} // namespace
