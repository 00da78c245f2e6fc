// SPDX-License-Identifier: MIT
#include "guard/time_of_day.h"

#include <algorithm>
#include <charconv>

namespace guard {

bool isTimeOfDay(std::string_view text) {
    for (const unsigned limit : {24U, 60U, 60U}) {
        const std::string_view part = text.substr(0, text.find(':'));
        unsigned number = 0;
        const auto read = std::from_chars(part.data(), part.data() + part.size(), number);
        if (part.empty() || part.size() > 2 || read.ptr != part.data() + part.size() ||
            number >= limit) {
            return false;
        }
        if (part.size() == text.size()) {
            return true;
        }
        text.remove_prefix(part.size() + 1);
    }
    return false;
}

} // namespace guard
