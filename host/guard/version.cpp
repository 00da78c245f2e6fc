// SPDX-License-Identifier: MIT
// Versions: their characters, and how long one may be on this node.
#include "host/guard/version.h"

#include <algorithm>

namespace host::guard {
namespace {

// The agent writes the marker with "echo <version> > <path>", of which it runs 63 characters. It
// reads it back in pieces of 31, the line end among them: a longer version would come back in two
// pieces and be reported as not committed.
constexpr std::size_t kMaxCommand = 63;
constexpr std::size_t kEchoAndBlanks = sizeof("echo  > ") - 1;
constexpr std::size_t kMaxReadBack = 30;

} // namespace

bool hasVersionCharacters(std::string_view version) {
    constexpr std::string_view kAllowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._+-";
    return !version.empty() && version.find_first_not_of(kAllowed) == std::string_view::npos;
}

std::size_t longestVersion(std::string_view markerPath) {
    const std::size_t used = kEchoAndBlanks + markerPath.size();
    return used >= kMaxCommand ? 0 : std::min(kMaxReadBack, kMaxCommand - used);
}

} // namespace host::guard
