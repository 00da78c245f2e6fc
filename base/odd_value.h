// SPDX-License-Identifier: MIT
// Values of settings that are taken, and that are probably a slip.
#ifndef BASE_ODD_VALUE_H
#define BASE_ODD_VALUE_H

#include <string>
#include <string_view>

namespace base {

/*
 * A value that may be meant and probably is not: another mode or role than the agent knows, quotes,
 * a comment that is none. Half a sentence behind the name of the key, or empty.
 */
std::string oddValue(std::string_view key, const std::string &value);

} // namespace base

#endif
