// SPDX-License-Identifier: MIT
// Text cut into pieces, without the streams of the C++ library: linked in, they are half a program.
#ifndef BASE_SPLIT_H
#define BASE_SPLIT_H

#include <string>
#include <string_view>
#include <vector>

namespace base {

/* What stands between blanks, tabs and ends of lines. */
std::vector<std::string> wordsOf(std::string_view text);

/* What stands between separators, the empty ones too; nothing behind the last one is no piece. */
std::vector<std::string> piecesOf(std::string_view text, char separator);

/* Of a path, from its beginning on: without ".", but with "..". */
std::vector<std::string> namesOf(std::string_view path);

} // namespace base

#endif
