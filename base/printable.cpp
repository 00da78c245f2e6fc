// SPDX-License-Identifier: MIT
#include "base/printable.h"

#include <array>
#include <cstdio>

namespace base {
namespace {

struct Character {
    std::size_t length = 0; // bytes; 0: the text does not begin with a UTF-8 character
    char32_t code = 0;
};

Character firstCharacter(std::string_view text) {
    struct Form {
        unsigned mask, lead, bits;
        char32_t smallest; // a longer form of a smaller code is refused
    };
    constexpr std::array<Form, 4> kForms = {{{0x80, 0x00, 0x7f, 0},
                                             {0xe0, 0xc0, 0x1f, 0x80},
                                             {0xf0, 0xe0, 0x0f, 0x800},
                                             {0xf8, 0xf0, 0x07, 0x10000}}};
    const auto lead = static_cast<unsigned char>(text.front());
    for (std::size_t length = 1; length <= kForms.size(); ++length) {
        const Form &form = kForms.at(length - 1);
        if ((lead & form.mask) != form.lead) {
            continue;
        }
        char32_t code = lead & form.bits;
        for (std::size_t i = 1; i < length; ++i) {
            const unsigned byte = i < text.size() ? static_cast<unsigned char>(text[i]) : 0;
            if ((byte & 0xc0U) != 0x80U) {
                return {};
            }
            code = code << 6U | (byte & 0x3fU);
        }
        const bool surrogate = code >= 0xd800 && code <= 0xdfff;
        return code < form.smallest || code > 0x10ffff || surrogate ? Character{}
                                                                    : Character{length, code};
    }
    return {};
}

bool isUnsafe(char32_t code) {
    const bool control = code < 0x20 || (code >= 0x7f && code < 0xa0);
    const bool lineEnd = code == 0x2028 || code == 0x2029;
    const bool direction = code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
                           (code >= 0x2066 && code <= 0x2069);
    return control || lineEnd || direction;
}

std::string quoted(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        std::array<char, 5> code{};
        std::snprintf(code.data(), code.size(), "\\x%02x", static_cast<unsigned char>(byte));
        text += code.data();
    }
    return text;
}

} // namespace

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        const std::string_view bytes = text.substr(0, character.length == 0 ? 1 : character.length);
        if (character.length == 0 || isUnsafe(character.code)) {
            shown += quoted(bytes);
        } else {
            shown += bytes;
        }
        text.remove_prefix(bytes.size());
    }
    return shown;
}

bool isBusText(std::string_view text) {
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        if (character.length == 0 || character.code == 0) {
            return false;
        }
        text.remove_prefix(character.length);
    }
    return true;
}

} // namespace base
