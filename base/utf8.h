// SPDX-License-Identifier: MIT
// Is a text UTF-8 to the letter?
#ifndef BASE_UTF8_H
#define BASE_UTF8_H

#include <cstddef>
#include <string_view>

namespace base {

/* How many bytes at the beginning are whole, valid characters: no surrogates, none overlong. */
std::size_t validUtf8(std::string_view text);

} // namespace base

#endif
