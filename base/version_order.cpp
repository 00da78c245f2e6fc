// SPDX-License-Identifier: MIT
// Which of two versions is the newer one.
#include "base/version_order.h"

#include <algorithm>

namespace base {
namespace {

constexpr std::string_view kDecimalDigits = "0123456789";

int sign(int difference) { return (difference > 0) - (difference < 0); }

// Splits the run of digits off the beginning, without its leading zeros.
std::string_view takeNumber(std::string_view &text) {
    const std::size_t end = std::min(text.find_first_not_of(kDecimalDigits), text.size());
    std::string_view number = text.substr(0, end);
    text.remove_prefix(end);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

int compareNumbers(std::string_view a, std::string_view b) {
    return a.size() != b.size() ? (a.size() < b.size() ? -1 : 1) : sign(a.compare(b));
}

bool beginsWithDigit(std::string_view text) {
    return kDecimalDigits.find(text.front()) != std::string_view::npos;
}

} // namespace

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

} // namespace base
