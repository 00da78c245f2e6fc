// SPDX-License-Identifier: MIT
#include "base/text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace base {
namespace {

constexpr const char *kSmallDigits = "0123456789abcdef"; // printable() has these
constexpr const char *kHexDigits = "0123456789ABCDEF";
constexpr std::size_t kMaxQuoted = 60;
constexpr std::size_t kLongestWord = 64; // nothing that is known is longer

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

std::string asHex(char byte, const char *digits) {
    const auto value = static_cast<unsigned char>(byte);
    return {'\\', 'x', digits[value >> 4U], digits[value & 0xFU]};
}

bool isPlain(char byte) { return byte >= ' ' && byte <= '~'; }

char lower(char letter) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// Letters to add, to leave out or to change; two that changed places count as one.
std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> beforeLast(to.size() + 1);
    std::vector<std::size_t> last(to.size() + 1);
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const bool same = lower(from[i - 1]) == lower(to[j - 1]);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
            if (i > 1 && j > 1 && lower(from[i - 1]) == lower(to[j - 2]) &&
                lower(from[i - 2]) == lower(to[j - 1])) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        std::swap(beforeLast, last);
        std::swap(last, row);
    }
    return last[to.size()];
}

} // namespace

std::size_t validUtf8(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t length = firstCharacter(text.substr(at)).length;
        if (length == 0) {
            return at;
        }
        at += length;
    }
    return at;
}

bool isBusText(std::string_view text) {
    return text.find('\0') == std::string_view::npos && validUtf8(text) == text.size();
}

std::string printable(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        const std::string_view bytes = text.substr(0, character.length == 0 ? 1 : character.length);
        if (character.length == 0 || isUnsafe(character.code)) {
            for (const char byte : bytes) {
                shown += asHex(byte, kSmallDigits);
            }
        } else {
            shown += bytes;
        }
        text.remove_prefix(bytes.size());
    }
    return shown;
}

std::string plain(std::string_view hostile) {
    std::string line;
    for (const char byte : hostile) {
        line += isPlain(byte) ? std::string(1, byte) : asHex(byte, kHexDigits);
    }
    return line;
}

std::string quoted(std::string_view hostile) {
    std::string text = "\"";
    for (const char byte : hostile) {
        const std::string next = isPlain(byte) && byte != '"' && byte != '\\'
                                     ? std::string(1, byte)
                                     : asHex(byte, kHexDigits);
        if (text.size() - 1 + next.size() > kMaxQuoted) {
            return text + "\"...";
        }
        text += next;
    }
    return text + "\"";
}

void copyText(std::string_view text, char *to, std::size_t width) {
    to[text.copy(to, width - 1)] = '\0';
}

std::string nearest(std::string_view given, std::span<const std::string> known) {
    if (given.empty() || given.size() > kLongestWord) {
        return "";
    }
    std::string best;
    std::size_t least = std::max<std::size_t>(2, given.size() / 3) + 1;
    for (const std::string &one : known) {
        const std::size_t differs = distance(given, one);
        // More than half of it changed is another word.
        if (differs < least && differs * 2 <= std::max(one.size(), given.size())) {
            least = differs;
            best = one;
        }
    }
    return best;
}

std::string didYouMean(std::string_view given, std::span<const std::string> known) {
    const std::string meant = nearest(given, known);
    return meant.empty() ? "" : "; did you mean " + meant + "?";
}

} // namespace base
