// SPDX-License-Identifier: MIT
// Is a text one JSON object to the letter of the grammar?
#ifndef GUARD_JSON_TEXT_H
#define GUARD_JSON_TEXT_H

#include <string>
#include <string_view>
#include <vector>

namespace guard {

inline constexpr int kMaxNesting = 8; // the object itself is the first

/*
 * True: the text is valid UTF-8 without NUL and holds one object; `values` are the texts of its
 * members' values in their order, pieces of the text. False: `fault` says in half a sentence what
 * is wrong and at which byte, counted from 0.
 */
bool scanObject(std::string_view text, std::vector<std::string_view> &values, std::string &fault);

} // namespace guard

#endif
