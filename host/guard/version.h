// SPDX-License-Identifier: MIT
// Versions: their characters, their order and how long one may be on this node.
#ifndef HOST_GUARD_VERSION_H
#define HOST_GUARD_VERSION_H

#include <cstddef>
#include <string_view>

namespace host::guard {

inline constexpr std::string_view kVersionPrefix = "4QZ";

/* A-Z a-z 0-9 . _ + - only, and not empty: a version stands in a shell command as it is. */
bool hasVersionCharacters(std::string_view version);

/*
 * Natural order: runs of digits compare as numbers, all else byte by byte, and of two that begin
 * alike the longer one is greater. Below 0: a comes before b; 0: neither ("1.01" and "1.1").
 */
int compareVersions(std::string_view a, std::string_view b);

/*
 * The longest version that the agent can note down at this path before a reboot, and read back
 * after it. 0: the path is too long for any.
 */
std::size_t longestVersion(std::string_view markerPath);

} // namespace host::guard

#endif
