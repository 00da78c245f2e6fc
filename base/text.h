// SPDX-License-Identifier: MIT
// Texts from outside: whether they are UTF-8, how they are shown, which known word was meant.
#ifndef BASE_TEXT_H
#define BASE_TEXT_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace base {

/* How many bytes at the beginning are whole, valid characters: no surrogates, none overlong. */
std::size_t validUtf8(std::string_view text);

/* Whether the whole text is UTF-8 without a NUL, as the bus wants it. */
bool isBusText(std::string_view text);

/* The text with every control character, every mark that turns the direction of writing and every
 * byte that is no UTF-8 spelled \xNN: one line that can neither move a cursor nor hide a word. */
std::string printable(std::string_view text);

/* One line of printable ASCII; every other byte is \xNN. */
std::string plain(std::string_view hostile);

/*
 * The same in double quotes; double quotes and backslashes are \xNN too, and after 60 characters it
 * is cut with "..." behind the quotes.
 */
std::string quoted(std::string_view hostile);

/* The text, cut to the width with its NUL. */
void copyText(std::string_view text, char *to, std::size_t width);

/* The known word that differs in the fewest letters, whatever their case; empty where none is near.
 */
std::string nearest(std::string_view given, std::span<const std::string> known);

/* "; did you mean X?" of the nearest; empty where none is near. */
std::string didYouMean(std::string_view given, std::span<const std::string> known);

} // namespace base

#endif
