// SPDX-License-Identifier: MIT
#include "base/json.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <new>

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

Json parsed(const std::string &text) { return Json(cJSON_Parse(text.c_str())); }

Json parseObject(std::string_view text) {
    const char *end = nullptr;
    Json object(cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, 0));
    if (!object || !cJSON_IsObject(object.get())) {
        return nullptr;
    }
    const std::string_view rest = text.substr(static_cast<std::size_t>(end - text.data()));
    return rest.find_first_not_of(" \t\r\n") == std::string_view::npos ? std::move(object)
                                                                       : nullptr;
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

std::string textOf(const cJSON *object, const char *key) {
    const char *const text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    return text == nullptr ? "" : text;
}

int numberOf(const cJSON *object, const char *key) {
    const cJSON *const number = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(number) ? number->valueint : 0;
}

Result<std::string> takeText(const cJSON *object, const char *key) {
    const char *const text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    if (text == nullptr) {
        return Error{std::string("\"") + key + "\" is missing or no text: expected a text"};
    }
    return std::string(text);
}

Result<int> takeInteger(const cJSON *object, const char *key) {
    const cJSON *const item = cJSON_GetObjectItemCaseSensitive(object, key);
    const double value = cJSON_IsNumber(item) ? item->valuedouble : std::nan("");
    if (!(std::trunc(value) == value && value >= std::numeric_limits<int>::min() &&
          value <= std::numeric_limits<int>::max())) {
        return Error{std::string("\"") + key +
                     "\" is missing or no whole number: expected a whole number"};
    }
    return static_cast<int>(value);
}

Result<int> takeIntegerWithin(const cJSON *object, const char *key, int least, int most) {
    auto value = takeInteger(object, key);
    if (value && (*value < least || *value > most)) {
        return Error{std::string("\"") + key + "\" is out of range: expected " +
                     std::to_string(least) + " to " + std::to_string(most)};
    }
    return value;
}

Json message(std::initializer_list<std::pair<const char *, std::string>> texts) {
    Json object(cJSON_CreateObject());
    for (const auto &[key, text] : texts) {
        if (cJSON_AddStringToObject(object.get(), key, text.c_str()) == nullptr) {
            throw std::bad_alloc();
        }
    }
    return object;
}

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

std::string printed(const cJSON *object) {
    const JsonText text(cJSON_PrintUnformatted(object));
    return text ? text.get() : "";
}

void printJson(const cJSON *object) {
    const JsonText text(cJSON_PrintUnformatted(object));
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    std::printf("%s\n", withoutHighControls(text.get()).c_str());
    std::fflush(stdout);
}

} // namespace base
