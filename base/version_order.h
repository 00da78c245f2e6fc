// SPDX-License-Identifier: MIT
// What versions begin with, how long they may be, and which of two is the newer one.
#ifndef BASE_VERSION_ORDER_H
#define BASE_VERSION_ORDER_H

#include <cstddef>
#include <string_view>

namespace base {

/* What every version that a node is offered begins with, and so the file of its image. */
inline constexpr std::string_view kVersionPrefix = "4QZ";

/* Behind a reboot the agent reads its mark of the activation in pieces of 31 characters, the line
 * end among them: a longer version would come back in two, and never be committed. */
inline constexpr std::size_t kLongestVersion = 30;

/*
 * Natural order: runs of digits compare as numbers, all else byte by byte, and of two that begin
 * alike the longer one is greater. Below 0: a comes before b; 0: neither ("1.01" and "1.1").
 */
int compareVersions(std::string_view a, std::string_view b);

} // namespace base

#endif
