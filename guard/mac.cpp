// SPDX-License-Identifier: MIT
#include "guard/mac.h"

#include <algorithm>

namespace guard {
namespace {

constexpr std::string_view kForm = "hh:hh:hh:hh:hh:hh";
constexpr std::string_view kHexDigits = "0123456789ABCDEFabcdef";

char upper(char byte) {
    return byte >= 'a' && byte <= 'z' ? static_cast<char>(byte - 'a' + 'A') : byte;
}

} // namespace

bool isMac(std::string_view text) {
    return std::equal(
        text.begin(), text.end(), kForm.begin(), kForm.end(), [](char byte, char form) {
            return form == ':' ? byte == ':' : kHexDigits.find(byte) != std::string_view::npos;
        });
}

bool sameMac(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char left, char right) { return upper(left) == upper(right); });
}

std::optional<Refusal> checkMac(const char *key, std::string_view text, std::string_view own) {
    if (!isMac(text) || !sameMac(text, own)) {
        return Refusal{base::Outcome::wrongMac, key,
                       quoted(text) + " is not this node's address " + quoted(own)};
    }
    return std::nullopt;
}

} // namespace guard
