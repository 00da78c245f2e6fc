// SPDX-License-Identifier: MIT
#include "base/quoted.h"

#include <cstddef>

namespace base {
namespace {

constexpr std::size_t kMaxSpelled = 60;

bool isPlain(char byte) { return byte >= ' ' && byte <= '~'; }

std::string asHex(char byte) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto value = static_cast<unsigned char>(byte);
    return {'\\', 'x', kDigits[value >> 4U], kDigits[value & 0xFU]};
}

} // namespace

std::string plain(std::string_view hostile) {
    std::string line;
    for (const char byte : hostile) {
        line += isPlain(byte) ? std::string(1, byte) : asHex(byte);
    }
    return line;
}

std::string quoted(std::string_view hostile) {
    std::string text = "\"";
    for (const char byte : hostile) {
        const std::string next =
            isPlain(byte) && byte != '"' && byte != '\\' ? std::string(1, byte) : asHex(byte);
        if (text.size() - 1 + next.size() > kMaxSpelled) {
            return text + "\"...";
        }
        text += next;
    }
    return text + "\"";
}

} // namespace base
