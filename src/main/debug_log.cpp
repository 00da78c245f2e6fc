// SPDX-License-Identifier: MIT
// The agent's own debug log: a small file that starts over when it has grown past its cap.
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/timeb.h>
#include <time.h>

#include "support/handle.h"
#include "support/log.h"
#include "support/text.h"

namespace {

constexpr int32_t g_maxDebugLogSize = 10240; // bytes

int64_t getLogFileSize(const char *path) {
    struct stat status {};
    if (stat(path, &status) != 0) {
        return 0;
    }
    return static_cast<int32_t>(status.st_size);
}

template <size_t Width>
void stampNow(char (&stamp)[Width]) {
    struct timeb now {};
#if defined(__GLIBC__) && defined(__USE_TIME_BITS64)
    // On a 32-bit target glibc's ftime fills in 32 bits of the 64.
    now.time = time(nullptr);
#else
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    ftime(&now);
#pragma GCC diagnostic pop
#endif
    struct tm local {};
    localtime_r(&now.time, &local);
    strftime(stamp, Width, "%d %b %Y %H:%M:%S", &local);
}

// One entry: the stamp, then the caller's text.
[[gnu::format(printf, 1, 0)]] void writeEntry(const char *format, va_list arguments) {
    const char *path = getOtaSwAgentLogPath();
    // Asked before the write: the entry that crosses the cap stays, the next one empties the file.
    const char *mode = getLogFileSize(path) <= g_maxDebugLogSize ? "a" : "w";
    const ota::File log{fopen(path, mode)};
    if (!log) {
        return;
    }
    char stamp[29]{};
    stampNow(stamp);
    fprintf(log.get(), " [ %s ] ", stamp);
    vfprintf(log.get(), format, arguments);
}

} // namespace

int otaDebugLog(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeEntry(format, arguments);
    va_end(arguments);
    return 0;
}

void ota::debugLine(const char *function, int line, const char *body, ...) {
    // The prefix carries no conversion, the body brings its own; no function's name has 40
    // characters.
    char format[kLongestBody + 56]{};
    formatCut(format, sizeof format, "%s():%d: %s", function, line, body);
    va_list arguments;
    va_start(arguments, body);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // checked at every call, through `body`
    writeEntry(format, arguments);
#pragma GCC diagnostic pop
    va_end(arguments);
}
