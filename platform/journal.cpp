// SPDX-License-Identifier: MIT
#include "platform/journal.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

// The place that an entry names is the agent's, not the one of the call below.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>

namespace platform {
namespace {

bool isThisNumber(std::string_view text, std::uint64_t number) {
    std::uint64_t value = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() && value == number;
}

// Only a node whose log is the journal has use for libsystemd, which brings five more libraries
// along: it is not loaded before the first entry. Null where this node has none.
auto findSend() {
    dlopen("libsystemd.so.0", RTLD_LAZY | RTLD_GLOBAL);
    return reinterpret_cast<decltype(&sd_journal_sendv)>(dlsym(RTLD_DEFAULT, "sd_journal_sendv"));
}

} // namespace

bool standardErrorIsTheJournal() {
    const char *const variable = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (variable == nullptr || fstat(STDERR_FILENO, &status) != 0) {
        return false;
    }
    const std::string_view stream = variable;
    const std::size_t colon = stream.find(':');
    return colon != std::string_view::npos &&
           isThisNumber(stream.substr(0, colon), status.st_dev) &&
           isThisNumber(stream.substr(colon + 1), status.st_ino);
}

bool sendToJournal(int priority, const base::LogOrigin &origin, const std::string &message) {
    static const auto send = findSend();
    if (send == nullptr) {
        return false;
    }
    std::array<std::string, 8> fields{
        "MESSAGE=" + message,
        "PRIORITY=" + std::to_string(priority),
        "SYSLOG_IDENTIFIER=otaSwAgent",
        "OTA_UNIT=" + origin.unit,
        "OTA_FUNCTION=" + origin.function,
        "OTA_LINE=" + origin.line,
        "CODE_FUNC=" + origin.function,
        "CODE_LINE=" + origin.line,
    };
    std::array<iovec, fields.size()> parts{};
    for (std::size_t i = 0; i < fields.size(); ++i) {
        parts.at(i) = {fields.at(i).data(), fields.at(i).size()};
    }
    return send(parts.data(), static_cast<int>(parts.size())) >= 0;
}

} // namespace platform
