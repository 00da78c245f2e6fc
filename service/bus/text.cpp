// SPDX-License-Identifier: MIT
// What the agent reports may hold any byte; what leaves on the bus may not.
#include "service/bus/text.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace service {

namespace {

constexpr std::uint32_t kLastCodePoint = 0x10FFFF;
constexpr std::uint32_t kFirstSurrogate = 0xD800;
constexpr std::uint32_t kLastSurrogate = 0xDFFF;
// The smallest code point that needs as many bytes as the index says.
constexpr std::array<std::uint32_t, 5> kSmallest = {0, 0, 0x80, 0x800, 0x10000};

std::size_t lengthByLead(unsigned char lead) {
    if (lead < 0x80) {
        return 1;
    }
    if (lead >= 0xC2 && lead <= 0xDF) {
        return 2;
    }
    if (lead >= 0xE0 && lead <= 0xEF) {
        return 3;
    }
    return lead >= 0xF0 && lead <= 0xF4 ? 4 : 0;
}

// Bytes of the character that the text begins with; 0: it begins with none that may be sent.
std::size_t characterLength(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthByLead(lead);
    if (length == 0 || length > text.size() || lead == 0) {
        return 0;
    }
    if (length == 1) {
        return 1;
    }
    std::uint32_t point = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0U) != 0x80U) {
            return 0;
        }
        point = (point << 6U) | (byte & 0x3FU);
    }
    const bool surrogate = point >= kFirstSurrogate && point <= kLastSurrogate;
    return point < kSmallest[length] || point > kLastCodePoint || surrogate ? 0 : length;
}

void spellByte(std::string &out, char byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto value = static_cast<unsigned char>(byte);
    out += "\\x";
    out += kDigits[value >> 4U];
    out += kDigits[value & 0xFU];
}

} // namespace

std::string busText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = characterLength(text);
        if (length == 0) {
            spellByte(out, text.front());
            text.remove_prefix(1);
        } else {
            out += text.substr(0, length);
            text.remove_prefix(length);
        }
    }
    return out;
}

} // namespace service
