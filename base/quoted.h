// SPDX-License-Identifier: MIT
// Texts from outside, fit to be shown.
#ifndef BASE_QUOTED_H
#define BASE_QUOTED_H

#include <string>
#include <string_view>

namespace base {

/* One line of printable ASCII; every other byte is \xNN. */
std::string plain(std::string_view hostile);

/*
 * The same in double quotes; double quotes and backslashes are \xNN too, and after 60 characters it
 * is cut with "..." behind the quotes.
 */
std::string quoted(std::string_view hostile);

} // namespace base

#endif
