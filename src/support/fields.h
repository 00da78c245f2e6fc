// SPDX-License-Identifier: MIT
// A record as data: one row per field, its JSON key taken from the field's own name.
#pragma once

#include <cjson/cJSON.h>
#include <span>
#include <stddef.h>
#include <stdint.h>
#include <type_traits>

namespace ota {

// What a JSON value and its place in a record have in common.
struct Field {
    const char *key;
    uint16_t offset;
    uint16_t textWidth; // 0 for a 32-bit number
};

using Fields = std::span<const Field>;

template <typename Member>
constexpr uint16_t textWidthOf() {
    static_assert(std::is_array_v<Member> || std::is_same_v<Member, int32_t>);
    return std::is_array_v<Member> ? uint16_t{sizeof(Member)} : uint16_t{0};
}

#define OTA_FIELD(Record, name)                                                                    \
    ota::Field { #name, offsetof(Record, name), ota::textWidthOf < decltype(Record::name)>() }

} // namespace ota
