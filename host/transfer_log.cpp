// SPDX-License-Identifier: MIT
#include "host/transfer_log.h"

#include "base/text.h"
#include "platform/nal.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>

namespace host {
namespace {

constexpr const char *kUnit = "libcurl";
constexpr const char *kFunction = "curl_easy_perform";
constexpr std::size_t kLongestLine = 300;
constexpr std::size_t kFirstLines = 16; // how the connection came about
constexpr std::size_t kLastLines = 48;  // how it ended
constexpr long kGood = 200;

// A server may send headers without end: the middle of a long story is counted, not kept.
struct Story {
    std::deque<std::string> first;
    std::deque<std::string> last;
    std::size_t leftOut = 0;
};
Story story;

// A line of a server's, safe in any log, its end cut.
std::string asLine(std::string_view text) {
    return base::plain(text.substr(0, kLongestLine)) + (text.size() > kLongestLine ? "..." : "");
}

void keep(std::string_view text) {
    if (story.first.size() < kFirstLines) {
        story.first.push_back(asLine(text));
        return;
    }
    story.last.push_back(asLine(text));
    if (story.last.size() > kLastLines) {
        story.last.pop_front();
        ++story.leftOut;
    }
}

void keepLines(std::string_view text) {
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        if (!line.empty()) {
            keep(line);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

int onWords(CURL * /*handle*/, curl_infotype kind, char *data, std::size_t size,
            void * /*client*/) {
    if (kind == CURLINFO_TEXT || kind == CURLINFO_HEADER_IN) {
        keepLines({data, size});
    }
    return 0;
}

void notice(const std::string &text) {
    nalLogNotice(kFunction, __LINE__, "ota: [%s %s:%d] %s", kUnit, kFunction, __LINE__,
                 text.c_str());
}

void tellInShort(CURL *handle) {
    char *address = nullptr;
    long port = 0;
    curl_off_t bytes = 0;
    curl_off_t microseconds = 0;
    curl_easy_getinfo(handle, CURLINFO_PRIMARY_IP, &address);
    curl_easy_getinfo(handle, CURLINFO_PRIMARY_PORT, &port);
    curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &bytes);
    curl_easy_getinfo(handle, CURLINFO_TOTAL_TIME_T, &microseconds);
    std::array<char, 160> text{};
    std::snprintf(text.data(), text.size(), "%s port %ld answered %ld: %lld bytes in %.1f s",
                  address == nullptr ? "" : address, port, kGood, static_cast<long long>(bytes),
                  static_cast<double>(microseconds) / 1e6);
    notice(text.data());
}

void tellInFull() {
    for (const std::string &line : story.first) {
        notice(line);
    }
    if (story.leftOut > 0) {
        notice(std::to_string(story.leftOut) + " lines left out");
    }
    for (const std::string &line : story.last) {
        notice(line);
    }
}

} // namespace

void followTransfer(CURL *handle) {
    story = Story();
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, onWords);
}

void tellTransfer(CURL *handle, CURLcode result) {
    long code = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &code);
    if (result == CURLE_OK && code == kGood) {
        tellInShort(handle);
    } else {
        tellInFull();
    }
    story = Story();
}

void logTransferError(const std::string &text) {
    nalLogError(kFunction, __LINE__, "ota: [%s %s:%d] %s", kUnit, kFunction, __LINE__,
                text.c_str());
}

} // namespace host
