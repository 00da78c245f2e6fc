// SPDX-License-Identifier: MIT
// A started agent whose transfers and shell commands are real, and an image to fetch.
#pragma once

#include "agent_test.h"
#include "certificates.h"
#include "server.h"

#include <optional>

namespace ota::test {

// A request as the server saw it.
struct Request {
    std::string path;
    int clientPort;
    int segmentSize;
};

class RealTransferTest : public StartedAgentTest {
  protected:
    void SetUp() override;
    void TearDown() override;

    // The server that answers as its path asks; with a certificate's name it speaks TLS.
    void startAnswering(const std::string &certificate = {});
    // nginx, with the image behind "/gate.img"; with a certificate's name it speaks TLS.
    void startNginx(const std::string &certificate = {});
    void stopServer() { mServer.reset(); }

    // Downloads from this path of the server, or from a whole URL.
    int downloadPath(const std::string &path, const std::string &scheme = "http");
    int downloadUrl(const std::string &url);

    const std::string &image() const { return mImage; }
    // What lies where the download puts its image.
    static std::string fetched() { return contentOf("4QZ-2.0"); }
    static std::string progressFile() { return contentOf("ota_dwld_prog"); }
    // Timers started or stopped, and reports.
    static Entries outcome();
    // The words behind "curl_easy_perform() failed: " in the last error of a transfer.
    static std::string transferError();
    // What the answering server was asked for.
    static std::vector<Request> requests();

  private:
    std::string mImage;
    std::optional<Server> mServer;
};

inline constexpr char kFirstRetry[] = "startTimer 1800 downloadRetryTimer";
inline constexpr char kLaterRetry[] = "startTimer 120 downloadRetryTimer";
inline constexpr char kFailed[] = "OTA_SW_DOWNLOAD_FAILED\n";

} // namespace ota::test
