// SPDX-License-Identifier: MIT
#include "host/transfer_limit.h"

#include "host/causes.h"
#include "host/transfer_log.h"
#include "platform/bank_capacity.h"
#include "platform/nal.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <sys/resource.h>
#include <sys/statvfs.h>

namespace host {
namespace {

// An image that is too large by less is had whole: the platform then knows version, model and size,
// and refuses it once, where a download that failed is tried again and again.
constexpr std::uint64_t kMargin = 16 * 1024 * 1024;
// Of the disk that the tmp directory is on, which others need too: it may be the whole of /run.
constexpr std::uint64_t kReserve = 4 * 1024 * 1024;
constexpr std::uint64_t kReservedShare = 8; // one in so many bytes, on a small disk
// Whatever else this process writes meanwhile, such as its log, is smaller.
constexpr std::uint64_t kLeastRoom = 64 * 1024;
constexpr auto kNoLimit = static_cast<std::uint64_t>(std::numeric_limits<curl_off_t>::max());

volatile std::sig_atomic_t refused = 0;

// Instead of the signal's default, which ends the process. The write itself fails.
void onRefusedWrite(int /*signal*/) { refused = 1; }

// Around a transfer only: neither the writing of the bank nor the health command is meant.
class FileLimit {
  public:
    explicit FileLimit(std::uint64_t bytes) {
        refused = 0;
        if (bytes == kNoLimit ||
            (getrlimit(RLIMIT_FSIZE, &before_) == 0 && before_.rlim_cur <= bytes)) {
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
    curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE,
                     static_cast<curl_off_t>(bytes == kNoLimit ? 0 : bytes));
    const FileLimit limit(bytes);
    const CURLcode result = perform(handle);
    // What libcurl can tell of a write that failed is only that it did.
    return result == CURLE_WRITE_ERROR && refused != 0 ? CURLE_FILESIZE_EXCEEDED : result;
}

std::uint64_t limitOfBank(std::uint64_t capacity) {
    return capacity == 0 || capacity > kNoLimit - kMargin ? kNoLimit : capacity + kMargin;
}

std::uint64_t roomOnDisk() {
    struct statvfs disk {};
    if (statvfs(nal_getTmpDirectory(), &disk) != 0 || disk.f_blocks == 0) {
        return kNoLimit;
    }
    const std::uint64_t block = disk.f_frsize;
    const std::uint64_t reserve = std::min(disk.f_blocks * block / kReservedShare, kReserve);
    const std::uint64_t free = disk.f_bavail * block;
    return free > reserve ? std::min(free - reserve, kNoLimit) : 0;
}

std::string bytesThatCame(CURL *handle) {
    curl_off_t bytes = 0;
    curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &bytes);
    return "the download was ended after " + std::to_string(bytes) + " bytes";
}

void tellFarTooLarge(CURL *handle, std::uint64_t capacity) {
    logTransferError("the file server sends far more than the " + std::to_string(capacity) +
                     " bytes that a bank holds: " + bytesThatCame(handle) +
                     "; check what the URL stands for, and offer an image that fits the bank");
}

void tellNoRoom(CURL *handle, std::uint64_t room) {
    const std::string words = std::string("no room for the image in ") + nal_getTmpDirectory() +
                              ": " + std::to_string(room) +
                              " bytes may be taken of its disk, the rest is for others";
    logTransferError(words + "; " + bytesThatCame(handle) + "; make room on that disk");
    expectCause({words, base::Reason::diskFull});
}

} // namespace

CURLcode performWithinLimit(CURLcode (*perform)(CURL *), CURL *handle) {
    const std::uint64_t capacity = nalBankCapacity();
    const std::uint64_t room = roomOnDisk();
    const std::uint64_t limit = std::min(limitOfBank(capacity), room);
    const CURLcode result =
        limit < kLeastRoom ? CURLE_FILESIZE_EXCEEDED : performLimited(perform, handle, limit);
    if (result == CURLE_FILESIZE_EXCEEDED) {
        limit == room ? tellNoRoom(handle, room) : tellFarTooLarge(handle, capacity);
    }
    return result;
}

} // namespace host
