// SPDX-License-Identifier: MIT
// What the suites of the download share: an offered image and a scripted answer to it.
#pragma once

#include "agent_test.h"

namespace ota::test {

inline constexpr char kDownload[] = "ota_httpDownLoadFile";
inline constexpr char kUrl[] = "http://files.example/gate.img";
inline constexpr char kVersion[] = "4QZ-2.0";
inline constexpr char kMarker[] = "system echo OTA_SW_DOWNLOAD_FAILED >> ./ota_dwld_prog";

// A notice or an error of the download itself, in both logs.
Entries said(std::string_view body);
Entries erred(std::string_view body);

// The entries behind the first one of this text.
Entries behind(const Entries &all, std::string_view text);

// A started gateway that was offered kUrl and kVersion.
class DownloadTest : public StartedAgentTest {
  protected:
    void SetUp() override;

    void offer(const std::string &url, const std::string &version);
    // How the transfers from now on end.
    void answer(long responseCode);
    void failTransfer(CURLcode result, long osErrno = 0);
    void failResponseCodeQuery();

    int download();
    // Counts so many failed attempts, then empties the journal.
    void failBefore(int attempts);

    // The log lines of the download and every action, from the transfer on.
    Entries afterTransfer() const;
    // Timers that were started or stopped.
    Entries timers() const;
};

} // namespace ota::test
