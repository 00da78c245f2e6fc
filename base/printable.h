// SPDX-License-Identifier: MIT
// Texts of others, made safe to show on a terminal.
#ifndef BASE_PRINTABLE_H
#define BASE_PRINTABLE_H

#include <string>
#include <string_view>

namespace base {

/* The text with every control character, every mark that turns the direction of writing and every
 * byte that is no UTF-8 spelled \xNN: one line that can neither move a cursor nor hide a word. */
std::string printable(std::string_view text);

/* Whether the whole text is UTF-8 without a NUL, as the bus wants it. */
bool isBusText(std::string_view text);

} // namespace base

#endif
