// SPDX-License-Identifier: MIT
// libcurl as the agent sees it: a transfer that a test scripts.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace ota::test {

// The transfer in progress, with what the agent set on its handle.
class Transfer {
  public:
    // Call the agent's callbacks as libcurl would; what they do is journalled.
    std::size_t write(std::string_view data, std::size_t itemSize = 1);
    int progress(double total, double now);
    int openSocket(curl_socket_t socket, curlsocktype purpose);

    // Values by option name without "CURLOPT_", as the journal shows them.
    std::map<std::string, std::string> options;

    curl_write_callback writeFunction = nullptr;
    void *writeData = nullptr;
    curl_progress_callback progressFunction = nullptr;
    void *progressData = nullptr;
    curl_sockopt_callback socketFunction = nullptr;
    void *socketData = nullptr;
};

struct Curl {
    bool initFails = false;
    // What the transfer does; by default it writes nothing and succeeds.
    std::function<CURLcode(Transfer &)> perform;
    // Answers of curl_easy_getinfo.
    CURLcode infoResult = CURLE_OK;
    long responseCode = 200;
    long osErrno = 0;
    // Handles made and not cleaned up.
    int openHandles = 0;
    // Where set, libcurl itself does the transfer. Options are journalled all the same; the time
    // limit, if not 0, replaces the agent's.
    bool isReal = false;
    long realTimeLimit = 0;
    // Real handles that were not cleaned up.
    std::set<CURL *> realHandles;
};

Curl &curl();

} // namespace ota::test
