// SPDX-License-Identifier: MIT
// Why a download or a checksum failed, from the lines that the agent logs on its way.
#include "host/log_causes.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using base::Reason;

constexpr const char *kDownload = "ota_httpDownLoadFile";

bool diskIsFull = false;

class CausesInTheLog : public testing::Test {
  protected:
    CausesInTheLog() { diskIsFull = false; }

    // As every download begins.
    void begin() {
        EXPECT_FALSE(take(kDownload, "Removing the image files for last time failure\n"));
        EXPECT_FALSE(take("ota_getFileDownloadPath", "download path = /tmp/4QZ2.0.0\n"));
    }
    std::optional<base::Error> take(const char *function, const std::string &text) {
        return causes_.take(function, text);
    }
    base::Error ofTransfer(CURLcode result, long error = 0) {
        begin();
        take(kDownload, "Completed Image Download - curl_easy_perform\n");
        return take(kDownload, std::string("curl_easy_perform() failed: ") +
                                   curl_easy_strerror(result) +
                                   " errno : " + std::to_string(error) + "\n")
            .value_or(base::Error{});
    }
    std::optional<base::Error> ofCode(int code) {
        begin();
        return take(kDownload, "receiving response code " + std::to_string(code) + "\n");
    }

    host::LogCauses causes_{[](const std::string &path) {
        EXPECT_EQ(path, "/tmp/4QZ2.0.0");
        return diskIsFull;
    }};
};

TEST_F(CausesInTheLog, OfATransferAreThoseOfLibcurl) {
    const std::vector<std::pair<CURLcode, Reason>> rows{
        {CURLE_COULDNT_RESOLVE_HOST, Reason::hostUnknown},
        {CURLE_COULDNT_CONNECT, Reason::noConnection},
        {CURLE_INTERFACE_FAILED, Reason::localPortsTaken},
        {CURLE_PEER_FAILED_VERIFICATION, Reason::certificateRefused},
        {CURLE_SSL_CONNECT_ERROR, Reason::tlsFailed},
        {CURLE_OPERATION_TIMEDOUT, Reason::timeLimit},
        {CURLE_PARTIAL_FILE, Reason::connectionLost},
        {CURLE_FILESIZE_EXCEEDED, Reason::fileTooLarge},
        {CURLE_TOO_MANY_REDIRECTS, Reason::downloadFailed}};
    for (const auto &[result, reason] : rows) {
        EXPECT_EQ(ofTransfer(result).reason, reason) << curl_easy_strerror(result);
    }
    EXPECT_EQ(ofTransfer(CURLE_COULDNT_CONNECT, 111).text,
              "the transfer failed: Couldn't connect to server (Connection refused)");
}

TEST_F(CausesInTheLog, OfAFileThatCouldNotBeWrittenAreItsDisks) {
    EXPECT_EQ(ofTransfer(CURLE_WRITE_ERROR).reason, Reason::downloadFailed);
    diskIsFull = true;
    EXPECT_EQ(ofTransfer(CURLE_WRITE_ERROR).reason, Reason::diskFull);
    EXPECT_EQ(ofTransfer(CURLE_WRITE_ERROR).text,
              "no room for /tmp/4QZ2.0.0: the disk is full, or files may not be so large");
}

TEST_F(CausesInTheLog, OfAnAnswerAreItsCode) {
    EXPECT_FALSE(ofCode(200));
    EXPECT_FALSE(ofCode(0));
    const std::vector<std::pair<int, Reason>> rows{
        {404, Reason::fileNotFound}, {410, Reason::fileNotFound}, {403, Reason::fileForbidden},
        {503, Reason::serverError},  {504, Reason::serverError},  {301, Reason::serverAnswer},
        {206, Reason::serverAnswer}};
    for (const auto &[code, reason] : rows) {
        ASSERT_TRUE(ofCode(code)) << code;
        EXPECT_EQ(ofCode(code)->reason, reason) << code;
        EXPECT_EQ(ofCode(code)->text.find("the file server answered " + std::to_string(code)), 0U);
    }
}

TEST_F(CausesInTheLog, OfAnAnswerSayWhereTheAgentCountsNoFailure) {
    for (const int code : {110, 206, 404, 503}) {
        EXPECT_EQ(ofCode(code)->text, "the file server answered " + std::to_string(code));
    }
    for (const int code : {101, 109, 504, 599}) {
        EXPECT_EQ(ofCode(code)->text, "the file server answered " + std::to_string(code) +
                                          ", a code behind which the agent tries no more");
    }
}

TEST_F(CausesInTheLog, OfATransferAreThoseThatTheHostKnows) {
    begin();
    causes_.expect({"it sent too many", Reason::tooManyHeaders});
    const char *const failed = "curl_easy_perform() failed: Weird server reply errno : 0\n";
    EXPECT_EQ(take(kDownload, failed)->reason, Reason::tooManyHeaders);
    const auto counted = take(kDownload, "ota_httpDownLoadFile(): download_retry = 2\n");
    EXPECT_EQ(counted->text, "it sent too many");
    EXPECT_EQ(counted->attempt, 2);
    // Of that transfer only.
    EXPECT_EQ(take(kDownload, failed)->reason, Reason::downloadFailed);
    causes_.expect({"it sent too many", Reason::tooManyHeaders});
    EXPECT_EQ(ofTransfer(CURLE_WEIRD_SERVER_REPLY).reason, Reason::downloadFailed);
}

TEST_F(CausesInTheLog, OfAnAttemptCarryItsNumberToTheSeventh) {
    ofCode(404);
    for (const char *line :
         {"download_retry = 3\n", "ota_httpDownLoadFile(): download_retry = 3\n"}) {
        const auto cause = take(kDownload, line);
        ASSERT_TRUE(cause) << line;
        EXPECT_EQ(cause->attempt, 3);
        EXPECT_EQ(cause->reason, Reason::fileNotFound);
    }
    EXPECT_FALSE(take(kDownload, "download_retry is 3, so waiting for 2 min\n"));
    EXPECT_EQ(take(kDownload, "Download Rety Exceeded...\n")->attempt, 7);
    EXPECT_EQ(take(kDownload, "Invalid Response Code(404) Received... Going for Download Rety...\n")
                  ->attempt,
              7);
}

TEST_F(CausesInTheLog, OfAnAttemptOfWhichNothingElseIsKnownAreThatItFailed) {
    begin();
    const auto cause = take(kDownload, "download_retry = 1\n");
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->attempt, 1);
    EXPECT_EQ(cause->reason, Reason::attemptFailed);
}

TEST_F(CausesInTheLog, OfAChecksumAreBothSums) {
    ofCode(200);
    take("upgrade", "Rcvd MD5 checksum = 00ff, crc length is = 4\n");
    take("upgrade", "Calculated md5 CRC value is = 11ee\n, length is = 5\n");
    const auto cause = take("upgrade", "upgrade: MD5 CRC check failed... no upgrade\n");
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->reason, Reason::checksumDiffers);
    EXPECT_EQ(cause->text, "the MD5 sum of what came is 11ee, offered was 00ff");
}

// The agent goes on with whatever a server sent with such a code.
TEST_F(CausesInTheLog, OfAWrongSumOfAPageThatIsNoImageAreTheServers) {
    ofCode(504);
    take("upgrade", "Rcvd MD5 checksum = 00ff, crc length is = 4\n");
    take("upgrade", "Calculated md5 CRC value is = 11ee\n, length is = 5\n");
    EXPECT_EQ(take("upgrade", "upgrade: MD5 CRC check failed... no upgrade\n")->reason,
              Reason::serverError);
}

TEST_F(CausesInTheLog, OfAMissingCertificateNameItsFile) {
    begin();
    take("get_https_cacert_file_status", "path = /etc/ca.pem\n");
    const auto cause =
        take("get_https_cacert_file_status", "OTASwAgent Verifed Certificate not exist\n");
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->reason, Reason::caFileMissing);
    EXPECT_EQ(cause->text.find("/etc/ca.pem is missing"), 0U) << cause->text;
    EXPECT_FALSE(causes_.endOfCall());
}

TEST_F(CausesInTheLog, OfACertificateThatIsNoneDoNotCallItMissing) {
    for (const auto &[path, reason] : {std::pair{"/dev/null", Reason::caFileWrong},
                                       std::pair{"/nowhere/ca.pem", Reason::caFileMissing}}) {
        take("get_https_cacert_file_status", std::string("path = ") + path + "\n");
        const char *const words = curl_easy_strerror(CURLE_SSL_CACERT_BADFILE);
        const auto cause =
            take(kDownload, std::string("curl_easy_perform() failed: ") + words + " errno : 0\n");
        EXPECT_EQ(cause->reason, reason) << path;
        EXPECT_EQ(cause->text.find(path) == 0, reason == Reason::caFileWrong);
    }
}

TEST_F(CausesInTheLog, OfAFileThatWasNeverMadeAreToldWhenTheCallIsOver) {
    begin();
    const auto cause = causes_.endOfCall();
    ASSERT_TRUE(cause);
    EXPECT_EQ(cause->reason, Reason::imageNotCreated);
    EXPECT_FALSE(causes_.endOfCall());
    ofCode(200);
    EXPECT_FALSE(causes_.endOfCall());
}

TEST_F(CausesInTheLog, AreNotReadOutOfWhatOthersLog) {
    EXPECT_FALSE(take("upgrade", "curl_easy_perform() failed: x errno : 1\n"));
    EXPECT_FALSE(take("other", "receiving response code 404\n"));
}

} // namespace
