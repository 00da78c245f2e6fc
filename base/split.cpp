// SPDX-License-Identifier: MIT
#include "base/split.h"

#include <algorithm>

namespace base {

std::vector<std::string> wordsOf(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    std::vector<std::string> words;
    for (std::size_t at = 0; (at = text.find_first_not_of(kBlanks, at)) != text.npos;) {
        const std::size_t end = std::min(text.find_first_of(kBlanks, at), text.size());
        words.emplace_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

std::vector<std::string> piecesOf(std::string_view text, char separator) {
    std::vector<std::string> pieces;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find(separator, at), text.size());
        pieces.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    return pieces;
}

std::vector<std::string> namesOf(std::string_view path) {
    std::vector<std::string> names = piecesOf(path, '/');
    std::erase_if(names, [](const std::string &name) { return name.empty() || name == "."; });
    return names;
}

} // namespace base
