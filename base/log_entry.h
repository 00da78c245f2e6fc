// SPDX-License-Identifier: MIT
// What an entry of the log says about itself: where it comes from, and the text behind that.
#ifndef BASE_LOG_ENTRY_H
#define BASE_LOG_ENTRY_H

#include <string>
#include <string_view>

namespace base {

struct LogOrigin {
    std::string unit;
    std::string function;
    std::string line; // decimal digits
};

/*
 * Reads the prefix "ota: [unit function:line] " and takes it off the text. False: there is none,
 * nothing has changed.
 */
bool takeLogPrefix(std::string_view &text, LogOrigin &origin);

/* Takes one line end, "\n" or "\r\n", off the text; what was taken off, or nothing. */
std::string_view takeLineEnd(std::string_view &text);

/* Text from outside must not look like further entries: its control characters are spelled \xNN. */
std::string spellControls(std::string_view text);

} // namespace base

#endif
