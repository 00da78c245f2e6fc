// SPDX-License-Identifier: MIT
#include "base/command_values.h"

#include <algorithm>
#include <charconv>

namespace base {

Value flag(bool &target) {
    return {"", [&target](std::string_view) {
                target = true;
                return std::string();
            }};
}

Value wholeNumber(const std::string &shown, std::int64_t least, std::int64_t most,
                  std::function<void(std::int64_t)> take) {
    return {shown, [least, most, take = std::move(take)](std::string_view given) -> std::string {
                std::int64_t taken = 0;
                const char *const end = given.data() + given.size();
                const auto parsed = std::from_chars(given.data(), end, taken);
                if (parsed.ec != std::errc() || parsed.ptr != end || taken < least ||
                    taken > most) {
                    return "a whole number from " + std::to_string(least) + " to " +
                           std::to_string(most);
                }
                take(taken);
                return "";
            }};
}

Value oneOf(const std::vector<std::string> &words, std::function<void(std::size_t)> take) {
    std::string shown;
    for (const std::string &word : words) {
        shown += (shown.empty() ? "" : "|") + word;
    }
    return {shown, [shown, words, take = std::move(take)](std::string_view given) {
                const auto found = std::find(words.begin(), words.end(), given);
                if (found == words.end()) {
                    return shown;
                }
                take(static_cast<std::size_t>(found - words.begin()));
                return std::string();
            }};
}

Value oneOf(const std::vector<std::string> &words, std::string &target) {
    return oneOf(words, [words, &target](std::size_t at) { target = words[at]; });
}

} // namespace base
