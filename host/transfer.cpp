// SPDX-License-Identifier: MIT
// What the host adds to the agent's downloads from outside, since the options that the agent sets
// are fixed. The agent's library finds these names in this executable before those of libcurl. No
// file server fills the node's memory or its disk, and no user of the node keeps it from its
// downloads by holding the few local ports that they leave from.
#include "base/text.h"
#include "host/code_pages.h"
#include "host/download_file.h"
#include "host/platform_library.h"
#include "host/update_notes.h"
#include "platform/nal.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <curl/curl.h>
#include <dlfcn.h>
#include <limits>
#include <list>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/statvfs.h>

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
    std::list<std::string> first;
    std::list<std::string> last;
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

// From now on libcurl's words about this handle's transfers are collected instead of written to
// standard error. What was sent is left out: it may carry a password, and follows from the URL.
void followTransfer(CURL *handle) {
    story = Story();
    curl_easy_setopt(handle, CURLOPT_DEBUGFUNCTION, onWords);
}

// The transfer is over. An answer of 200 is told in one notice; else all that was collected
// follows, a notice for each line, under the unit "libcurl".
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

// An error about a transfer, under the same unit.
void logTransferError(const std::string &text) {
    nalLogError(kFunction, __LINE__, "ota: [%s %s:%d] %s", kUnit, kFunction, __LINE__,
                text.c_str());
}

// libcurl keeps every line; of trailers, and of answers before the last one, without a limit.
constexpr std::size_t kMostHeaders = 256 * 1024;

std::size_t headerBytes = 0; // bytes, of one transfer at a time

std::size_t onHeader(char * /*line*/, std::size_t /*one*/, std::size_t size, void * /*client*/) {
    headerBytes += size;
    return headerBytes <= kMostHeaders ? size : 0;
}

// From now on the headers and trailers of this handle's transfers are counted.
void countHeaders(CURL *handle) { curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, onHeader); }

// Performs the transfer of a handle whose headers are counted. It ends where they are far more
// than anybody needs: then one error line says so, and the result is CURLE_WEIRD_SERVER_REPLY.
CURLcode performWithinHeaders(CURLcode (*perform)(CURL *), CURL *handle) {
    headerBytes = 0;
    const CURLcode result = perform(handle);
    if (headerBytes <= kMostHeaders) {
        return result;
    }
    const std::string words = "the file server sent more than " + std::to_string(kMostHeaders) +
                              " bytes of headers and trailers beside the file";
    logTransferError(words + ": the download was ended; check what answers at the URL");
    expectCause({words, base::Reason::tooManyHeaders});
    return CURLE_WEIRD_SERVER_REPLY;
}

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
    CURLcode result = perform(handle);
    if (!writeWhatWaits() && result == CURLE_OK) {
        result = CURLE_WRITE_ERROR;
    }
    // What libcurl can tell of a write that failed is only that it did.
    return result == CURLE_WRITE_ERROR && refused != 0 ? CURLE_FILESIZE_EXCEEDED : result;
}

std::uint64_t bankCapacity() {
    const auto ask = platformService().bankCapacity;
    return ask == nullptr ? 0 : ask();
}

std::uint64_t limitOfBank(std::uint64_t capacity) {
    return capacity == 0 || capacity > kNoLimit - kMargin ? kNoLimit : capacity + kMargin;
}

std::uint64_t roomOnDisk() {
    struct statvfs disk {};
    if (statvfs(platformCalls().tmpDirectory(), &disk) != 0 || disk.f_blocks == 0) {
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
    const std::string words = std::string("no room for the image in ") +
                              platformCalls().tmpDirectory() + ": " + std::to_string(room) +
                              " bytes may be taken of its disk, the rest is for others";
    logTransferError(words + "; " + bytesThatCame(handle) + "; make room on that disk");
    expectCause({words, base::Reason::diskFull});
}

// Performs the transfer, in which no file of this process grows far beyond a bank, nor takes the
// last of the tmp directory's disk. A server that announces more is refused before the first byte.
// Where it would be more, the result is CURLE_FILESIZE_EXCEEDED and one error line says so. A size
// that no bank or no disk tells limits nothing.
CURLcode performWithinLimit(CURLcode (*perform)(CURL *), CURL *handle) {
    const std::uint64_t capacity = bankCapacity();
    const std::uint64_t room = roomOnDisk();
    const std::uint64_t limit = std::min(limitOfBank(capacity), room);
    const CURLcode result =
        limit < kLeastRoom ? CURLE_FILESIZE_EXCEEDED : performLimited(perform, handle, limit);
    if (result == CURLE_FILESIZE_EXCEEDED) {
        limit == room ? tellNoRoom(handle, room) : tellFarTooLarge(handle, capacity);
    }
    return result;
}

constexpr long kAnyPort = 0;

// The system chooses the port while it connects, and so it is the connection that fails.
bool foundNoPort(CURL *handle, CURLcode result) {
    long error = 0;
    curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &error);
    return result == CURLE_COULDNT_CONNECT && error == EADDRNOTAVAIL;
}

// Performs the transfer from one of the local ports that the agent asks for. Where none of them
// can be had, one error line says so and the transfer is performed once more, from any port. The
// result is CURLE_INTERFACE_FAILED only where no port at all is left.
CURLcode performFromSomePort(CURLcode (*perform)(CURL *), CURL *handle) {
    const CURLcode first = perform(handle);
    if (first != CURLE_INTERFACE_FAILED) {
        return first;
    }
    logTransferError("none of the local ports that downloads leave from could be had: this one "
                     "leaves from another; find out who holds them (ss -tanp)");
    curl_easy_setopt(handle, CURLOPT_LOCALPORT, kAnyPort);
    const CURLcode second = perform(handle);
    return foundNoPort(handle, second) ? CURLE_INTERFACE_FAILED : second;
}

template <typename Function>
Function *libcurls(const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// libcurl was built with a directory of authorities, which counts beside the file that is named:
// every authority of the distribution could stand in for the file server.
void trustNobodyElse(CURL *handle) { curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr); }

// The value of an option is of one of these types, as its number says.
CURLcode setItself(CURL *handle, CURLoption option, va_list values) {
    static auto *const set = libcurls<CURLcode(CURL *, CURLoption, ...)>("curl_easy_setopt");
    if (set == nullptr) {
        return CURLE_FAILED_INIT;
    }
    const int type = option / CURLOPTTYPE_OBJECTPOINT * CURLOPTTYPE_OBJECTPOINT;
    if (type == CURLOPTTYPE_LONG) {
        return set(handle, option, va_arg(values, long));
    }
    if (type == CURLOPTTYPE_OFF_T) {
        return set(handle, option, va_arg(values, curl_off_t));
    }
    if (type == CURLOPTTYPE_FUNCTIONPOINT) {
        return set(handle, option, va_arg(values, void (*)()));
    }
    void *const object = va_arg(values, void *);
    if (option == CURLOPT_WRITEDATA) {
        writeInLargePieces(static_cast<std::FILE *>(object));
    }
    return set(handle, option, object);
}

CURLcode performItself(CURL *handle) {
    static auto *const perform = libcurls<CURLcode(CURL *)>("curl_easy_perform");
    return perform == nullptr ? CURLE_FAILED_INIT : perform(handle);
}

CURLcode performBounded(CURL *handle) {
    return performWithinHeaders(
        [](CURL *inner) { return performWithinLimit(performItself, inner); }, handle);
}

} // namespace
} // namespace host

extern "C" CURL *curl_easy_init() {
    static auto *const init = host::libcurls<CURL *()>("curl_easy_init");
    CURL *const handle = init == nullptr ? nullptr : init();
    if (handle != nullptr) {
        host::trustNobodyElse(handle);
        host::countHeaders(handle);
        host::followTransfer(handle);
    }
    return handle;
}

#undef curl_easy_setopt // a macro that counts the arguments
// The last named argument is an enumeration because libcurl declares it so; it is as wide as an
// int.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"
extern "C" CURLcode curl_easy_setopt(CURL *curl, CURLoption option, ...) {
    va_list values;
    va_start(values, option);
    const CURLcode result = host::setItself(curl, option, values);
    va_end(values);
    return result;
}
#pragma GCC diagnostic pop

extern "C" CURLcode curl_easy_perform(CURL *curl) {
    host::giveBackCode(); // of the start
    const CURLcode result = host::performFromSomePort(host::performBounded, curl);
    host::tellTransfer(curl, result);
    return result;
}

// GnuTLS, which libcurl brings along for protocols that no download uses, does not start by itself:
// this is the hook that it documents for programs which do not call it. Whoever does call it
// through libcurl initialises it first.
extern "C" int _gnutls_global_init_skip();              // NOLINT: the library's name for it
extern "C" int _gnutls_global_init_skip() { return 1; } // NOLINT
