// SPDX-License-Identifier: MIT
// A good descriptor, and every way to spoil it.
#include "descriptor.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace guard::test {
namespace {

struct Good {
    std::string_view key;
    std::string_view text;
    std::size_t limit;
};

constexpr std::array kGood = {
    Good{"model", "GW-1000", 31},
    Good{"nxtMSVersion", "4QZ2.1.0", 63},
    Good{"fileServerURL", "https://files.example/4QZ2.1.0.img", 8191},
    Good{"checksum", "0123456789abcdef0123456789abcdef", 47},
    Good{"mac", "02:00:5E:10:00:01", 17},
};

const Good &goodOf(std::string_view key) {
    return *std::find_if(kGood.begin(), kGood.end(),
                         [key](const Good &good) { return good.key == key; });
}

} // namespace

std::size_t limitOf(std::string_view key) { return goodOf(key).limit; }

std::string jsonText(std::string_view text) {
    std::string json = "\"";
    for (const char byte : text) {
        if (byte == '"' || byte == '\\') {
            json += std::string("\\") + byte;
        } else if (static_cast<unsigned char>(byte) < ' ') {
            std::array<char, 7> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned>(byte));
            json += escape.data();
        } else {
            json += byte;
        }
    }
    return json + "\"";
}

Descriptor::Descriptor() {
    for (const Good &good : kGood) {
        members_.emplace_back(jsonText(good.key), jsonText(good.text));
    }
    members_.emplace_back("\"policy\"", "1");
}

Descriptor Descriptor::with(const std::string &key, const std::string &json) const {
    Descriptor changed = *this;
    for (auto &[name, value] : changed.members_) {
        if (name == jsonText(key)) {
            value = json;
        }
    }
    return changed;
}

Descriptor Descriptor::withText(const std::string &key, std::string_view text) const {
    return with(key, jsonText(text));
}

Descriptor Descriptor::without(const std::string &key) const {
    Descriptor changed = *this;
    std::erase_if(changed.members_,
                  [&key](const auto &member) { return member.first == jsonText(key); });
    return changed;
}

Descriptor Descriptor::adding(const std::string &keyJson, const std::string &json) const {
    Descriptor changed = *this;
    changed.members_.emplace_back(keyJson, json);
    return changed;
}

std::string Descriptor::goodText(const std::string &key) { return std::string(goodOf(key).text); }

std::string Descriptor::text() const {
    std::string json;
    for (const auto &[key, value] : members_) {
        json += (json.empty() ? "{" : ",") + key + ":" + value;
    }
    return json + "}";
}

} // namespace guard::test
