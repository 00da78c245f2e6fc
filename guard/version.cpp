// SPDX-License-Identifier: MIT
// Versions: their characters, and how long one may be on this node.
#include "guard/version.h"

#include <algorithm>

namespace guard {
namespace {

// The agent writes the marker with "echo <version> > <path>", of which it runs 63 characters.
constexpr std::size_t kMaxCommand = 63;
constexpr std::size_t kEchoAndBlanks = sizeof("echo  > ") - 1;

} // namespace

bool hasVersionCharacters(std::string_view version) {
    constexpr std::string_view kAllowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";
    return !version.empty() && version.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::size_t longestVersion(std::string_view markerPath) {
    const std::size_t used = kEchoAndBlanks + markerPath.size();
    return used >= kMaxCommand ? 0 : std::min(base::kLongestVersion, kMaxCommand - used);
}

} // namespace guard
