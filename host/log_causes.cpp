// SPDX-License-Identifier: MIT
#include "host/log_causes.h"

#include <array>
#include <charconv>
#include <cstring>
#include <curl/curl.h>
#include <unistd.h>
#include <utility>

namespace host {
namespace {

constexpr std::string_view kDownload = "ota_httpDownLoadFile";
constexpr std::string_view kUpgrade = "upgrade";
constexpr std::string_view kCaFile = "get_https_cacert_file_status";
constexpr std::string_view kImagePath = "ota_getFileDownloadPath";
constexpr int kAttempts = 7; // in a row, and the agent gives up
constexpr long kOk = 200;
// The agent counts these as failures, and goes on with whatever came with another.
constexpr long kLeastCounted = 110;
constexpr long kMostCounted = 503;

// True where the text begins so; the beginning is taken off.
bool takes(std::string_view &text, std::string_view beginning) {
    if (!text.starts_with(beginning)) {
        return false;
    }
    text.remove_prefix(beginning.size());
    return true;
}

long numberAt(std::string_view text) {
    long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string firstWord(std::string_view text) {
    return std::string(text.substr(0, text.find_first_of(" ,\r\n")));
}

std::string firstLine(std::string_view text) {
    return std::string(text.substr(0, text.find_first_of("\r\n")));
}

// The agent logs libcurl's words for a result, and libcurl knows which result they are for.
CURLcode resultOf(std::string_view words) {
    for (int code = CURLE_OK + 1; code < CURL_LAST; ++code) {
        if (words == curl_easy_strerror(static_cast<CURLcode>(code))) {
            return static_cast<CURLcode>(code);
        }
    }
    return CURL_LAST;
}

base::Reason reasonOf(CURLcode result) {
    struct Row {
        CURLcode result;
        base::Reason reason;
    };
    static constexpr std::array kRows{
        Row{CURLE_COULDNT_RESOLVE_PROXY, base::Reason::hostUnknown},
        Row{CURLE_COULDNT_RESOLVE_HOST, base::Reason::hostUnknown},
        Row{CURLE_COULDNT_CONNECT, base::Reason::noConnection},
        Row{CURLE_INTERFACE_FAILED, base::Reason::localPortsTaken},
        Row{CURLE_PEER_FAILED_VERIFICATION, base::Reason::certificateRefused},
        Row{CURLE_SSL_ISSUER_ERROR, base::Reason::certificateRefused},
        Row{CURLE_SSL_INVALIDCERTSTATUS, base::Reason::certificateRefused},
        Row{CURLE_SSL_CACERT_BADFILE, base::Reason::caFileMissing},
        Row{CURLE_SSL_CONNECT_ERROR, base::Reason::tlsFailed},
        Row{CURLE_SSL_CIPHER, base::Reason::tlsFailed},
        Row{CURLE_OPERATION_TIMEDOUT, base::Reason::timeLimit},
        Row{CURLE_FILESIZE_EXCEEDED, base::Reason::fileTooLarge}, // the host's own limit of a bank
        Row{CURLE_PARTIAL_FILE, base::Reason::connectionLost},
        Row{CURLE_GOT_NOTHING, base::Reason::connectionLost},
        Row{CURLE_SEND_ERROR, base::Reason::connectionLost},
        Row{CURLE_RECV_ERROR, base::Reason::connectionLost},
    };
    for (const Row &row : kRows) {
        if (row.result == result) {
            return row.reason;
        }
    }
    return base::Reason::downloadFailed;
}

base::Reason reasonOfCode(long code) {
    constexpr long kLeastServerError = 500;
    constexpr long kMostServerError = 599;
    switch (code) {
    case 404:
    case 410:
        return base::Reason::fileNotFound;
    case 401:
    case 403:
    case 407:
        return base::Reason::fileForbidden;
    default:
        return code >= kLeastServerError && code <= kMostServerError ? base::Reason::serverError
                                                                     : base::Reason::serverAnswer;
    }
}

} // namespace

std::optional<base::Error> LogCauses::take(std::string_view function, std::string_view text) {
    if (function == kDownload) {
        return ofDownload(text);
    }
    if (function == kUpgrade) {
        return ofChecksum(text);
    }
    if (function == kCaFile) {
        return ofCaFile(text);
    }
    if (function == kImagePath && takes(text, "download path = ")) {
        imageFile_ = firstLine(text);
    }
    return std::nullopt;
}

std::optional<base::Error> LogCauses::ofDownload(std::string_view text) {
    if (text.starts_with("Removing the image files for last time failure")) {
        *this = LogCauses(hasNoRoom_); // another download
    } else if (takes(text, "curl_easy_perform() failed: ")) {
        return ofTransfer(text);
    } else if (text.starts_with("curl_easy_getinfo() error in receiving response code")) {
        imageFile_.clear();
    } else if (takes(text, "receiving response code ")) {
        return ofAnswer(text);
    } else if (text.starts_with("Download Rety Exceeded") ||
               text.starts_with("Invalid Response Code(")) {
        return attempt(kAttempts);
    } else if (takes(text, "ota_httpDownLoadFile(): download_retry = ") ||
               takes(text, "download_retry = ")) {
        return attempt(static_cast<int>(numberAt(text)));
    }
    return std::nullopt;
}

std::optional<base::Error> LogCauses::ofTransfer(std::string_view text) {
    constexpr std::string_view kErrno = " errno : ";
    const std::size_t at = text.rfind(kErrno);
    const std::string words(text.substr(0, at));
    const long number =
        at == std::string_view::npos ? 0 : numberAt(text.substr(at + kErrno.size()));
    const CURLcode result = resultOf(words);
    failed_ = {
        "the transfer failed: " + words +
            (number == 0 ? "" : " (" + std::string(std::strerror(static_cast<int>(number))) + ")"),
        reasonOf(result)};
    if (const auto expected = std::exchange(expected_, std::nullopt)) {
        failed_ = *expected;
    } else if (result == CURLE_WRITE_ERROR) {
        failed_ = unwritten(words);
    } else if (result == CURLE_SSL_CACERT_BADFILE && access(caFile_.c_str(), R_OK) == 0) {
        failed_ = {caFile_ + " is there, but holds no certificate", base::Reason::caFileWrong};
    }
    imageFile_.clear();
    return failed_;
}

base::Error LogCauses::unwritten(const std::string &transfer) const {
    if (hasNoRoom_(imageFile_)) {
        return {"no room for " + imageFile_ + ": the disk is full, or files may not be so large",
                base::Reason::diskFull};
    }
    return {imageFile_ + " could not be written: " + transfer, base::Reason::downloadFailed};
}

std::optional<base::Error> LogCauses::ofAnswer(std::string_view text) {
    const long code = numberAt(text);
    imageFile_.clear();
    if (code == kOk || code == 0) { // 0: what was asked speaks no HTTP
        return std::nullopt;
    }
    failed_ = {"the file server answered " + std::to_string(code), reasonOfCode(code)};
    if (code < kLeastCounted || code > kMostCounted) {
        failed_.text += ", a code behind which the agent tries no more";
    }
    answered_ = true;
    return failed_;
}

// What a server sent in place of the file has another checksum too: that is not what is wrong.
std::optional<base::Error> LogCauses::ofChecksum(std::string_view text) {
    if (takes(text, "Rcvd MD5 checksum = ")) {
        offeredSum_ = firstWord(text);
    } else if (takes(text, "Calculated md5 CRC value is = ")) {
        sum_ = firstWord(text);
    } else if (text.starts_with("upgrade: MD5 CRC check failed")) {
        return answered_
                   ? failed_
                   : base::Error{"the MD5 sum of what came is " + (sum_.empty() ? "none" : sum_) +
                                     ", offered was " + offeredSum_,
                                 base::Reason::checksumDiffers};
    }
    return std::nullopt;
}

std::optional<base::Error> LogCauses::ofCaFile(std::string_view text) {
    if (takes(text, "path = ")) {
        caFile_ = firstLine(text);
        return std::nullopt;
    }
    imageFile_.clear();
    return base::Error{caFile_ + " is missing or cannot be read; it must hold the "
                                 "CA certificate of the file server",
                       base::Reason::caFileMissing};
}

base::Error LogCauses::attempt(int number) const {
    base::Error cause =
        failed_.reason == base::Reason::none
            ? base::Error{"nothing tells why; look into the log", base::Reason::attemptFailed}
            : failed_;
    cause.attempt = number;
    return cause;
}

std::optional<base::Error> LogCauses::endOfCall() {
    if (imageFile_.empty()) {
        return std::nullopt;
    }
    return base::Error{std::exchange(imageFile_, {}) +
                           " could not be created; look at the tmp directory",
                       base::Reason::imageNotCreated};
}

} // namespace host
