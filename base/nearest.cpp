// SPDX-License-Identifier: MIT
#include "base/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>
#include <vector>

namespace base {
namespace {

constexpr std::size_t kLongest = 64; // nothing that is known is longer

char lower(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// Letters to add, to leave out or to change; two that changed places count as one.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> beforeLast(to.size() + 1);
    std::vector<std::size_t> last(to.size() + 1);
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const bool same = lower(from[i - 1]) == lower(to[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && lower(from[i - 1]) == lower(to[j - 2]) &&
                lower(from[i - 2]) == lower(to[j - 1])) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        std::swap(beforeLast, last);
        std::swap(last, row);
    }
    return last[to.size()];
}

} // namespace

std::string nearest(std::string_view given, std::span<const std::string> known) {
    if (given.empty() || given.size() > kLongest) {
        return "";
    }
    std::string best;
    std::size_t least = std::max<std::size_t>(2, given.size() / 3) + 1;
    for (const std::string &one : known) {
        const std::size_t differs = distance(given, one);
        // More than half of it changed is another word.
        if (differs < least && differs * 2 <= std::max(one.size(), given.size())) {
            least = differs;
            best = one;
        }
    }
    return best;
}

std::string didYouMean(std::string_view given, std::span<const std::string> known) {
    const std::string meant = nearest(given, known);
    return meant.empty() ? "" : "; did you mean " + meant + "?";
}

} // namespace base
