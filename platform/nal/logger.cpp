// SPDX-License-Identifier: MIT
// The platform logger: one line on standard error per entry, level first.
#include "platform/nal.h"
#include "platform/nal/file_io.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

bool isControl(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '\x7F';
}

// Text from outside must not look like further entries: its control characters are spelled out.
std::string oneLine(std::string_view text) {
    std::string_view lineEnd = "\n";
    for (const std::string_view own : {"\r\n", "\n"}) {
        if (text.ends_with(own)) {
            lineEnd = own;
            text.remove_suffix(own.size());
            break;
        }
    }
    std::string line;
    for (const char character : text) {
        if (isControl(character)) {
            char escaped[sizeof "\\x00"];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(character));
            line += escaped;
        } else {
            line += character;
        }
    }
    return line.append(lineEnd);
}

__attribute__((format(printf, 2, 0))) void writeEntry(const char *level, const char *format,
                                                      va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int size = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (size < 0) {
        return;
    }
    std::string text(static_cast<std::size_t>(size) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    const std::string entry = std::string(level) + ": " + oneLine(text);
    // One write for the entry: lines of several processes on one standard error stay whole.
    nal::writeFully(STDERR_FILENO, entry.data(), entry.size());
}

} // namespace

// Function and line are part of the agent's text already.
void nalLogNotice(const char *, int, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeEntry("notice", format, arguments);
    va_end(arguments);
}

void nalLogError(const char *, int, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    writeEntry("error", format, arguments);
    va_end(arguments);
}
