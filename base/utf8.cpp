// SPDX-License-Identifier: MIT
#include "base/utf8.h"

#include <array>

namespace base {
namespace {

// The row of a UTF-8 character's first byte: its length, and what its second byte may be. Overlong
// forms, surrogates and everything above U+10FFFF are excluded by these ranges.
struct Utf8Row {
    unsigned char first, last;
    std::size_t length;
    unsigned char secondFirst, secondLast;
};

constexpr std::array kUtf8Rows = {
    Utf8Row{0x00, 0x7F, 1, 0x80, 0xBF}, Utf8Row{0xC2, 0xDF, 2, 0x80, 0xBF},
    Utf8Row{0xE0, 0xE0, 3, 0xA0, 0xBF}, Utf8Row{0xE1, 0xEC, 3, 0x80, 0xBF},
    Utf8Row{0xED, 0xED, 3, 0x80, 0x9F}, Utf8Row{0xEE, 0xEF, 3, 0x80, 0xBF},
    Utf8Row{0xF0, 0xF0, 4, 0x90, 0xBF}, Utf8Row{0xF1, 0xF3, 4, 0x80, 0xBF},
    Utf8Row{0xF4, 0xF4, 4, 0x80, 0x8F},
};

unsigned char byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

// 0: no valid character stands there.
std::size_t characterLength(std::string_view text) {
    const unsigned char lead = byteAt(text, 0);
    for (const Utf8Row &row : kUtf8Rows) {
        if (lead < row.first || lead > row.last) {
            continue;
        }
        if (row.length > text.size()) {
            return 0;
        }
        for (std::size_t i = 1; i < row.length; ++i) {
            const unsigned char low = i == 1 ? row.secondFirst : 0x80;
            const unsigned char high = i == 1 ? row.secondLast : 0xBF;
            if (byteAt(text, i) < low || byteAt(text, i) > high) {
                return 0;
            }
        }
        return row.length;
    }
    return 0;
}

} // namespace

std::size_t validUtf8(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t length = characterLength(text.substr(at));
        if (length == 0) {
            return at;
        }
        at += length;
    }
    return at;
}

} // namespace base
