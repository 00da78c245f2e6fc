// SPDX-License-Identifier: MIT
// Lines of the log and what they mean, as rows.
#include "desk/node_log.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>

namespace desk {
namespace {

using Kind = LogNews::Kind;

struct Row {
    std::string_view line;
    Kind kind;
    std::string_view text;
    bool quote = false; // the rest of the line follows the text
};

constexpr std::array kRows{
    Row{"curl_easy_perform() failed: ", Kind::failedDownload, "failed: ", true},
    Row{"receiving response code 503", Kind::failedDownload, "failed: the server answers 503"},
    Row{"Invalid Response Code(", Kind::gaveUp, "no further attempt"},
    Row{"Download Rety Exceeded", Kind::gaveUp, "no further attempt"},
    Row{"Calculated md5 CRC value is = ", Kind::calculated, "", true},
    Row{"error: nal: the passive bank was not written: ", Kind::refusal, "", true},
    Row{"error: nal: the passive bank was not activated: ", Kind::refusal, "", true},
    Row{"desk: timer ", Kind::passedTimer, "", true},
};

constexpr std::string_view kErrorMark = "error: ";
constexpr std::size_t kLongestQuote = 240;

std::string lastLineWith(const std::filesystem::path &log, std::string_view beginning) {
    std::ifstream file(log, std::ios::binary);
    std::string last;
    for (std::string line; std::getline(file, line);) {
        line.erase(line.find_last_not_of("\r ") + 1);
        if (!line.empty() && line.starts_with(beginning)) {
            last = line;
        }
    }
    return last.substr(0, kLongestQuote);
}

} // namespace

std::string lastLine(const std::filesystem::path &log) { return lastLineWith(log, ""); }

std::string lastErrorLine(const std::filesystem::path &log) {
    return lastLineWith(log, kErrorMark);
}

std::vector<LogNews> NodeLog::news() {
    std::vector<LogNews> news;
    std::ifstream file(log_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(read_));
    for (std::string line; std::getline(file, line) && !file.eof();) {
        read_ += line.size() + 1;
        for (const Row &row : kRows) {
            const std::size_t at = line.find(row.line);
            if (at != std::string::npos) {
                std::string rest = row.quote ? line.substr(at + row.line.size()) : "";
                rest.erase(std::min(rest.find("\\x0A"), rest.size()));
                news.push_back({row.kind, std::string(row.text) + rest});
            }
        }
    }
    return news;
}

} // namespace desk
