// SPDX-License-Identifier: MIT
#include "base/json_output.h"

#include <cstdio>
#include <new>
#include <string_view>

namespace base {
namespace {

cJSON *orThrow(cJSON *item) {
    if (item == nullptr) {
        throw std::bad_alloc();
    }
    return item;
}

// cJSON leaves DEL and the control characters behind it as they are; a terminal would obey them.
std::string withoutHighControls(std::string_view json) {
    constexpr std::string_view kHex = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto byte = static_cast<unsigned char>(json[i]);
        const unsigned next = i + 1 < json.size() ? static_cast<unsigned char>(json[i + 1]) : 0;
        if (byte == 0x7f) {
            text += "\\u007f";
        } else if (byte == 0xc2 && next >= 0x80 && next < 0xa0) {
            text += std::string("\\u00") + kHex[next >> 4U] + kHex[next & 0xfU];
            ++i;
        } else {
            text += json[i];
        }
    }
    return text;
}

} // namespace

Json newObject() { return Json(orThrow(cJSON_CreateObject())); }

void add(cJSON *object, const char *key, Json value) {
    if (cJSON_AddItemToObject(object, key, orThrow(value.get())) == 0) {
        throw std::bad_alloc();
    }
    static_cast<void>(value.release());
}

void add(cJSON *object, const char *key, const char *text) {
    orThrow(cJSON_AddStringToObject(object, key, text));
}

void add(cJSON *object, const char *key, const std::string &text) {
    add(object, key, text.c_str());
}

void add(cJSON *object, const char *key, bool value) {
    orThrow(cJSON_AddBoolToObject(object, key, value ? 1 : 0));
}

void add(cJSON *object, const char *key, std::uint64_t number) {
    orThrow(cJSON_AddNumberToObject(object, key, static_cast<double>(number)));
}

void add(cJSON *object, const char *key, std::uint32_t number) {
    add(object, key, static_cast<std::uint64_t>(number));
}

void add(cJSON *object, const char *key, std::int32_t number) {
    orThrow(cJSON_AddNumberToObject(object, key, number));
}

void add(cJSON *object, const char *key, std::optional<std::uint64_t> number) {
    if (number) {
        add(object, key, *number);
    } else {
        add(object, key, Json(cJSON_CreateNull()));
    }
}

Json parsedOrText(const std::string &text) {
    if (text.empty()) {
        return Json(cJSON_CreateNull());
    }
    Json value(cJSON_ParseWithOpts(text.c_str(), nullptr, 1));
    if (cJSON_IsObject(value.get()) == 0) {
        value.reset(cJSON_CreateString(text.c_str()));
    }
    return value;
}

Json outcomeAsJson(const OutcomeRow &row, const std::string &reason) {
    Json object = newObject();
    add(object.get(), "code", row.code);
    add(object.get(), "result", row.name);
    add(object.get(), "reason", reason);
    return object;
}

Json success() { return outcomeAsJson(rowOf(Outcome::done), ""); }

void printJson(const cJSON *object) {
    const JsonText text(cJSON_PrintUnformatted(object));
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    std::printf("%s\n", withoutHighControls(text.get()).c_str());
    std::fflush(stdout);
}

} // namespace base
