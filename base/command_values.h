// SPDX-License-Identifier: MIT
// What may stand behind an option, and where it goes.
#ifndef BASE_COMMAND_VALUES_H
#define BASE_COMMAND_VALUES_H

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace base {

struct Value {
    std::string shown; // in the help, such as FILE; empty: none is taken, a flag
    /* Puts it where it goes; answers with what was expected instead, empty: nothing is wrong. */
    std::function<std::string(std::string_view)> set;
    std::string usual{}; // what holds where none is given, for the help
};

Value flag(bool &target);

/* A text or a path. What the target holds already is shown as the usual one. */
template <class Text>
Value text(const std::string &shown, Text &target) {
    return {shown,
            [&target](std::string_view given) {
                target = given;
                return std::string();
            },
            std::string(target)};
}

template <class Text>
Value listed(const std::string &shown, std::vector<Text> &target) {
    return {shown, [&target](std::string_view given) {
                target.emplace_back(given);
                return std::string();
            }};
}

/* A whole decimal number within the bounds. */
Value wholeNumber(const std::string &shown, std::int64_t least, std::int64_t most,
                  std::function<void(std::int64_t)> take);

template <class Number>
Value number(const std::string &shown, Number &target,
             std::int64_t least = std::numeric_limits<Number>::min(),
             std::int64_t most = std::numeric_limits<Number>::max()) {
    return wholeNumber(shown, least, most,
                       [&target](std::int64_t taken) { target = static_cast<Number>(taken); });
}

Value oneOf(const std::vector<std::string> &words, std::function<void(std::size_t)> take);
Value oneOf(const std::vector<std::string> &words, std::string &target);

template <class Meaning>
Value oneOf(const std::vector<std::pair<std::string, Meaning>> &meanings, Meaning &target) {
    std::vector<std::string> words;
    words.reserve(meanings.size());
    for (const auto &[word, meaning] : meanings) {
        words.push_back(word);
    }
    return oneOf(words, [meanings, &target](std::size_t at) { target = meanings[at].second; });
}

} // namespace base

#endif
