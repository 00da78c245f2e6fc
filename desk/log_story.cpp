// SPDX-License-Identifier: MIT
// Lines of the log and what they mean, as rows.
#include "desk/log_story.h"

#include <array>
#include <fstream>
#include <string_view>

namespace desk {
namespace {

struct Row {
    std::string_view line;
    std::string_view step;
    std::string_view text;
    bool quote = false; // the rest of the line follows the text
};

constexpr std::array kRows{
    Row{"Download image success", "downloaded", "the image is in the temporary directory"},
    Row{"MD5 CRC check PASS", "checked", "the image's MD5 sum is the one offered"},
    Row{"MD5 CRC check failed", "checked", "the image's MD5 sum is NOT the one offered"},
    Row{"OTAFlashWriteComplete", "written", "into the passive bank, and read back"},
    Row{"nal_write_image faild", "written", "NOT: the passive bank did not take the image"},
    Row{"Going for immediate Reboot!", "activated", "the passive bank boots next"},
    Row{"Image Activation Success", "activated", "the passive bank boots next"},
    Row{"Image Activation Failed", "activated", "NOT: the passive bank is not fit to boot"},
    Row{"SW Commit Success", "commit", "the running version is the one that was activated"},
    Row{"SW Commit Failed", "commit", "NOT: the running version is not the one that was offered"},
    Row{"curl_easy_perform() failed: ", "download", "failed: ", true},
    Row{"receiving response code 503", "download", "failed: the server answers 503"},
    Row{"Invalid Response Code(", "download", "no further attempt"},
    Row{"Download Rety Exceeded", "download", "no further attempt"},
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

std::vector<Tale> LogStory::news() {
    std::vector<Tale> tales;
    std::ifstream file(log_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(read_));
    for (std::string line; std::getline(file, line) && !file.eof();) {
        read_ += line.size() + 1;
        for (const Row &row : kRows) {
            const std::size_t at = line.find(row.line);
            if (at != std::string::npos) {
                const std::string rest = row.quote ? line.substr(at + row.line.size()) : "";
                tales.push_back({std::string(row.step), std::string(row.text) + rest});
            }
        }
    }
    return tales;
}

} // namespace desk
