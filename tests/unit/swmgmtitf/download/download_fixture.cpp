// SPDX-License-Identifier: MIT
// What the suites of the download share.
#include "download_fixture.h"

#include <algorithm>

namespace ota::test {

Entries said(std::string_view body) { return both("swmgmtitf", kDownload, body); }

Entries erred(std::string_view body) { return bothErrors("swmgmtitf", kDownload, body); }

Entries behind(const Entries &all, std::string_view text) {
    const auto found = std::find(all.begin(), all.end(), text);
    EXPECT_NE(found, all.end()) << "not in the journal: " << text;
    return found == all.end() ? Entries{} : Entries(found + 1, all.end());
}

void DownloadTest::SetUp() {
    StartedAgentTest::SetUp();
    offer(kUrl, kVersion);
}

void DownloadTest::offer(const std::string &url, const std::string &version) {
    setText(AGENT_VAR(swInfo).fileServerURL, url);
    setText(AGENT_VAR(swInfo).nxtMSVersion, version);
}

void DownloadTest::answer(long responseCode) {
    curl().perform = nullptr;
    curl().infoResult = CURLE_OK;
    curl().responseCode = responseCode;
}

void DownloadTest::failTransfer(CURLcode result, long osErrno) {
    curl().perform = [result](Transfer &) { return result; };
    curl().osErrno = osErrno;
}

void DownloadTest::failResponseCodeQuery() {
    curl().perform = nullptr;
    curl().infoResult = CURLE_UNKNOWN_OPTION;
}

int DownloadTest::download() { return AGENT(ota_httpDownLoadFile)(&AGENT_VAR(g_httpInfo)); }

void DownloadTest::failBefore(int attempts) {
    answer(404);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        ASSERT_EQ(download(), 1);
    }
    journal().clear();
}

Entries DownloadTest::afterTransfer() const {
    return behind(journal().of({kDownload}), "curl_easy_perform");
}

Entries DownloadTest::timers() const {
    return only(journal().actions(), {"startTimer", "stopTimer"});
}

} // namespace ota::test
