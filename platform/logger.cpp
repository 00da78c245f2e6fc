// SPDX-License-Identifier: MIT
// The platform logger: an entry of the journal, or one line on standard error, level first.
#include "base/file_io.h"
#include "base/log_entry.h"
#include "platform/journal.h"
#include "platform/nal.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <syslog.h>
#include <unistd.h>

namespace {

struct Level {
    const char *name;
    int priority;
};
constexpr Level kNotice{"notice", LOG_NOTICE};
constexpr Level kError{"error", LOG_ERR};

struct MemoryFree {
    void operator()(char *memory) const { std::free(memory); }
};

bool writeToJournal(const Level &level, const char *function, int line, std::string_view text) {
    if (!platform::standardErrorIsTheJournal()) {
        return false;
    }
    // Without a prefix the entry is the platform's own.
    base::LogOrigin origin{"nal", function, std::to_string(line)};
    base::takeLogPrefix(text, origin);
    base::takeLineEnd(text);
    return platform::sendToJournal(level.priority, origin, base::spellControls(text));
}

void writeToStandardError(const Level &level, std::string_view text) {
    const std::string_view own = base::takeLineEnd(text);
    const std::string entry = std::string(level.name) + ": " + base::spellControls(text) +
                              std::string(own.empty() ? "\n" : own);
    // One write for the entry: lines of several processes on one standard error stay whole.
    base::writeFully(STDERR_FILENO, entry.data(), entry.size());
}

__attribute__((format(printf, 4, 0))) void writeEntry(const Level &level, const char *function,
                                                      int line, const char *format,
                                                      va_list arguments) {
    char *formatted = nullptr;
    const int size = vasprintf(&formatted, format, arguments);
    if (size < 0) {
        return;
    }
    const std::unique_ptr<char, MemoryFree> owner(formatted);
    const std::string_view text(formatted, static_cast<std::size_t>(size));
    if (!writeToJournal(level, function, line, text)) {
        writeToStandardError(level, text);
    }
}

} // namespace

void nalLogNotice(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeEntry(kNotice, function, line, format, arguments);
    va_end(arguments);
}

void nalLogError(const char *function, int line, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeEntry(kError, function, line, format, arguments);
    va_end(arguments);
}
