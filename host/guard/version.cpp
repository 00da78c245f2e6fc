// SPDX-License-Identifier: MIT
// Versions: their characters, their order and how long one may be on this node.
#include "host/guard/version.h"

#include <algorithm>

namespace host::guard {
namespace {

constexpr std::string_view kDigits = "0123456789";

// The agent writes the marker with "echo <version> > <path>", of which it runs 63 characters. It
// reads it back in pieces of 31, the line end among them: a longer version would come back in two
// pieces and be reported as not committed.
constexpr std::size_t kMaxCommand = 63;
constexpr std::size_t kEchoAndBlanks = sizeof("echo  > ") - 1;
constexpr std::size_t kMaxReadBack = 30;

int sign(int difference) { return (difference > 0) - (difference < 0); }

// Splits the run of digits off the beginning, without its leading zeros.
std::string_view takeNumber(std::string_view &text) {
    const std::size_t end = std::min(text.find_first_not_of(kDigits), text.size());
    std::string_view number = text.substr(0, end);
    text.remove_prefix(end);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

int compareNumbers(std::string_view a, std::string_view b) {
    return a.size() != b.size() ? (a.size() < b.size() ? -1 : 1) : sign(a.compare(b));
}

bool beginsWithDigit(std::string_view text) {
    return kDigits.find(text.front()) != std::string_view::npos;
}

} // namespace

bool hasVersionCharacters(std::string_view version) {
    constexpr std::string_view kAllowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";
    return !version.empty() && version.find_first_not_of(kAllowed) == std::string_view::npos;
}

int compareVersions(std::string_view a, std::string_view b) {
    while (!a.empty() && !b.empty()) {
        if (beginsWithDigit(a) && beginsWithDigit(b)) {
            const std::string_view left = takeNumber(a);
            const std::string_view right = takeNumber(b);
            if (const int order = compareNumbers(left, right); order != 0) {
                return order;
            }
            continue;
        }
        if (a.front() != b.front()) {
            return static_cast<unsigned char>(a.front()) < static_cast<unsigned char>(b.front())
                       ? -1
                       : 1;
        }
        a.remove_prefix(1);
        b.remove_prefix(1);
    }
    return static_cast<int>(!a.empty()) - static_cast<int>(!b.empty());
}

std::size_t longestVersion(std::string_view markerPath) {
    const std::size_t used = kEchoAndBlanks + markerPath.size();
    return used >= kMaxCommand ? 0 : std::min(kMaxReadBack, kMaxCommand - used);
}

} // namespace host::guard
