// SPDX-License-Identifier: MIT
// Versions: their characters, their order and how long one may be on this node.
#ifndef GUARD_VERSION_H
#define GUARD_VERSION_H

#include "base/version_order.h"

#include <cstddef>
#include <string_view>

namespace guard {

using base::compareVersions;
using base::kVersionPrefix;

/* A-Z a-z 0-9 . _ + - only, and not empty: a version stands in a shell command as it is. */
bool hasVersionCharacters(std::string_view version);

/*
 * The longest version that the agent can note down at this path before a reboot, and read back
 * after it. 0: the path is too long for any.
 */
std::size_t longestVersion(std::string_view markerPath);

} // namespace guard

#endif
