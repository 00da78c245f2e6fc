// SPDX-License-Identifier: MIT
// The platform's logger, the debug log's entries and the conventions of both.
#include "log_checks.h"

#include "clock.h"
#include "journal.h"

#include "platform/nal.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

namespace ota::test {

namespace {

constexpr char kPrefix[] = "ota: [%s %s:%d] ";

constexpr char kOfNames[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789";

bool gPlainTextAllowed = false;

#if defined(__GNUC__)
__attribute__((format(printf, 1, 0)))
#endif
std::string
formatted(const char *format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    std::vector<char> text(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    return text.data();
}

// A body may name its own function and line once more; the line is not the tests' business.
std::string withoutOwnLine(std::string body, const std::string &function, int line) {
    const std::string own = function + "():" + std::to_string(line) + ": ";
    if (const auto at = body.find(own); at != std::string::npos) {
        body.replace(at, own.size(), function + "():LINE: ");
    }
    return body;
}

struct Line {
    Kind kind;
    const char *function;
    int line;
    const char *format;
};

#if defined(__GNUC__)
// The format is the caller's and was checked there.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#endif
void addPlatformLine(const Line &line, va_list arguments) {
    if (!std::string_view(line.format).starts_with(kPrefix)) {
        ADD_FAILURE() << "a log line without \"" << kPrefix << "\": " << line.format;
        return;
    }
    va_list prefixArguments;
    va_copy(prefixArguments, arguments);
    const std::string unit = va_arg(prefixArguments, const char *);
    const std::string function = va_arg(prefixArguments, const char *);
    const int number = va_arg(prefixArguments, int);
    va_end(prefixArguments);

    EXPECT_EQ(function, line.function) << "the logger was told another function: " << line.format;
    EXPECT_EQ(number, line.line) << "the logger was told another line: " << line.format;
    EXPECT_GT(line.line, 0) << line.format;

    const std::string whole = formatted(line.format, arguments);
    const std::string prefix =
        "ota: [" + unit + " " + function + ":" + std::to_string(number) + "] ";
    const std::string body = withoutOwnLine(whole.substr(prefix.size()), function, number);
    journal().add(line.kind,
                  line.kind == Kind::kNotice ? notice(unit, function, body)
                                             : error(unit, function, body),
                  function);
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

std::string stampOf(std::time_t now) {
    std::tm broken{};
    localtime_r(&now, &broken);
    char text[64];
    std::strftime(text, sizeof text, " [ %d %b %Y %H:%M:%S ] ", &broken);
    return text;
}

} // namespace

void addDebugEntry(const std::string &written) {
    const std::string stamp = stampOf(agentClock().now());
    if (!written.starts_with(stamp)) {
        ADD_FAILURE() << "a debug entry without the stamp \"" << stamp << "\": " << written;
        return;
    }
    const std::string text = written.substr(stamp.size());
    // A regular expression would take more stack than some processors' tests have.
    const std::size_t name = text.find_first_not_of(kOfNames);
    const std::size_t digits = name + std::strlen("():");
    if (name != std::string::npos && name > 0 && text.compare(name, 3, "():") == 0) {
        const std::size_t end = text.find_first_not_of("0123456789", digits);
        if (end != std::string::npos && end > digits && text[digits] != '0' &&
            text.compare(end, 2, ": ") == 0) {
            const std::string function = text.substr(0, name);
            journal().add(Kind::kDebug, trace(function, text.substr(end + 2)), function);
            return;
        }
    }
    EXPECT_TRUE(gPlainTextAllowed) << "a debug entry without \"%s():%d: \": " << written;
    journal().add(Kind::kDebug, trace("", text));
}

void allowPlainDebugText(bool allowed) { gPlainTextAllowed = allowed; }

} // namespace ota::test

extern "C" {

void nalLogNotice(const char *function, int line, const char *format, ...) {
    const ota::test::HarnessScope harness;
    va_list arguments;
    va_start(arguments, format);
    ota::test::addPlatformLine({ota::test::Kind::kNotice, function, line, format}, arguments);
    va_end(arguments);
}

void nalLogError(const char *function, int line, const char *format, ...) {
    const ota::test::HarnessScope harness;
    va_list arguments;
    va_start(arguments, format);
    ota::test::addPlatformLine({ota::test::Kind::kError, function, line, format}, arguments);
    va_end(arguments);
}

} // extern "C"
