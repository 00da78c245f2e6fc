// SPDX-License-Identifier: MIT
// No file server fills the node's memory: a download may be little larger than a bank.
#include "host/transfer_limit.h"

#include "host/transfer_log.h"
#include "platform/nal/bank_capacity.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <sys/resource.h>

namespace host {
namespace {

// An image that is too large by less is had whole: the platform then knows version, model and size,
// and refuses it once, where a download that failed is tried again and again.
constexpr std::uint64_t kMargin = 16 * 1024 * 1024;

volatile std::sig_atomic_t refused = 0;

// Instead of the signal's default, which ends the process. The write itself fails.
void onRefusedWrite(int /*signal*/) { refused = 1; }

// Around a transfer only: neither the writing of the bank nor the health command is meant.
class FileLimit {
  public:
    explicit FileLimit(std::uint64_t bytes) {
        refused = 0;
        if (bytes == 0 || (getrlimit(RLIMIT_FSIZE, &before_) == 0 && before_.rlim_cur <= bytes)) {
            return;
        }
        struct sigaction action {};
        action.sa_handler = onRefusedWrite;
        action.sa_flags = SA_RESTART;
        rlimit limit = before_;
        limit.rlim_cur = bytes;
        sigaction(SIGXFSZ, &action, &actionBefore_);
        inForce_ = setrlimit(RLIMIT_FSIZE, &limit) == 0;
        if (!inForce_) {
            logTransferError(std::string("the size of the download cannot be limited: ") +
                             std::strerror(errno) +
                             "; the file server may fill the tmp directory, let the service call "
                             "prlimit64");
            sigaction(SIGXFSZ, &actionBefore_, nullptr);
        }
    }
    ~FileLimit() {
        if (inForce_) {
            setrlimit(RLIMIT_FSIZE, &before_);
            sigaction(SIGXFSZ, &actionBefore_, nullptr);
        }
    }
    FileLimit(const FileLimit &) = delete;
    FileLimit &operator=(const FileLimit &) = delete;

  private:
    bool inForce_ = false;
    rlimit before_{};
    struct sigaction actionBefore_ {};
};

CURLcode performLimited(CURLcode (*perform)(CURL *), CURL *handle, std::uint64_t bytes) {
    const FileLimit limit(bytes);
    const CURLcode result = perform(handle);
    // What libcurl can tell of a write that failed is only that it did.
    return result == CURLE_WRITE_ERROR && refused != 0 ? CURLE_FILESIZE_EXCEEDED : result;
}

// 0: none.
std::uint64_t limitOf(std::uint64_t capacity) {
    constexpr auto kMost = static_cast<std::uint64_t>(std::numeric_limits<curl_off_t>::max());
    return capacity == 0 || capacity > kMost - kMargin ? 0 : capacity + kMargin;
}

} // namespace

void limitSize(CURL *handle) {
    const std::uint64_t limit = limitOf(nalBankCapacity());
    if (limit != 0) {
        curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limit));
    }
}

CURLcode performWithinLimit(CURLcode (*perform)(CURL *), CURL *handle) {
    const std::uint64_t capacity = nalBankCapacity();
    const CURLcode result = performLimited(perform, handle, limitOf(capacity));
    if (result == CURLE_FILESIZE_EXCEEDED) {
        logTransferError("the file server sends far more than the " + std::to_string(capacity) +
                         " bytes that a bank holds: the download was ended; check what the URL "
                         "stands for, and offer an image that fits the bank");
    }
    return result;
}

} // namespace host
