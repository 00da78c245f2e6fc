// SPDX-License-Identifier: MIT
#include "base/log_entry.h"

#include <cstdio>

namespace base {
namespace {

constexpr std::string_view kBegin = "ota: [";
constexpr std::string_view kEnd = "] ";

bool isControl(char character) {
    return static_cast<unsigned char>(character) < ' ' || character == '\x7F';
}

bool isName(std::string_view text) {
    return !text.empty() && text.find_first_of(" []:\n") == std::string_view::npos;
}

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

} // namespace

bool takeLogPrefix(std::string_view &text, LogOrigin &origin) {
    if (!text.starts_with(kBegin)) {
        return false;
    }
    const std::string_view rest = text.substr(kBegin.size());
    const std::size_t end = rest.find(kEnd);
    if (end == std::string_view::npos) {
        return false;
    }
    const std::string_view place = rest.substr(0, end);
    const std::size_t blank = place.find(' ');
    const std::size_t colon = place.rfind(':');
    if (blank == std::string_view::npos || colon == std::string_view::npos) {
        return false;
    }
    const std::string_view unit = place.substr(0, blank);
    const std::string_view function = place.substr(blank + 1, colon - blank - 1);
    const std::string_view line = place.substr(colon + 1);
    if (!isName(unit) || !isName(function) || !isNumber(line)) {
        return false;
    }
    origin = {std::string(unit), std::string(function), std::string(line)};
    text = rest.substr(end + kEnd.size());
    return true;
}

std::string_view takeLineEnd(std::string_view &text) {
    for (const std::string_view lineEnd : {"\r\n", "\n"}) {
        if (text.ends_with(lineEnd)) {
            text.remove_suffix(lineEnd.size());
            return lineEnd;
        }
    }
    return {};
}

std::string spellControls(std::string_view text) {
    std::string quoted;
    for (const char character : text) {
        if (isControl(character)) {
            char escaped[sizeof "\\x00"];
            std::snprintf(escaped, sizeof escaped, "\\x%02X", static_cast<unsigned>(character));
            quoted += escaped;
        } else {
            quoted += character;
        }
    }
    return quoted;
}

} // namespace base
