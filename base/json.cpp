// SPDX-License-Identifier: MIT
#include "base/json.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <new>

namespace base {
namespace {

template <typename Memory>
Memory *orThrow(Memory *item) {
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

Json parsed(std::string_view text) { return Json(cJSON_ParseWithLength(text.data(), text.size())); }

Json parseObject(std::string_view text) {
    const char *end = nullptr;
    Json object(cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, 0));
    if (!isObject(object.get())) {
        return nullptr;
    }
    const std::string_view rest = text.substr(static_cast<std::size_t>(end - text.data()));
    return rest.find_first_not_of(" \t\r\n") == std::string_view::npos ? std::move(object)
                                                                       : nullptr;
}

Json parsedOrText(const std::string &text) {
    if (text.empty()) {
        return newNull();
    }
    Json value(cJSON_ParseWithOpts(text.c_str(), nullptr, 1));
    return isObject(value.get()) ? std::move(value)
                                 : Json(orThrow(cJSON_CreateString(text.c_str())));
}

const cJSON *itemOf(const cJSON *object, const char *key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

cJSON *itemOf(cJSON *object, const char *key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

bool isObject(const cJSON *item) { return cJSON_IsObject(item) != 0; }

std::vector<const cJSON *> membersOf(const cJSON *item) {
    std::vector<const cJSON *> members;
    const cJSON *member = nullptr;
    cJSON_ArrayForEach(member, item) { members.push_back(member); }
    return members;
}

std::string textOf(const cJSON *item) {
    const char *const text = cJSON_GetStringValue(item);
    return text == nullptr ? "" : text;
}

std::string textOf(const cJSON *object, const char *key) { return textOf(itemOf(object, key)); }

std::optional<double> numberIn(const cJSON *item) {
    return cJSON_IsNumber(item) != 0 ? std::optional(item->valuedouble) : std::nullopt;
}

std::optional<double> numberIn(const cJSON *object, const char *key) {
    return numberIn(itemOf(object, key));
}

int numberOf(const cJSON *object, const char *key, int otherwise) {
    const cJSON *const number = itemOf(object, key);
    return cJSON_IsNumber(number) != 0 ? number->valueint : otherwise;
}

Result<std::string> takeText(const cJSON *object, const char *key) {
    const char *const text = cJSON_GetStringValue(itemOf(object, key));
    if (text == nullptr) {
        return Error{std::string("\"") + key + "\" is missing or no text: expected a text"};
    }
    return std::string(text);
}

Result<const cJSON *> takeObject(const cJSON *object, const char *key) {
    const cJSON *const found = itemOf(object, key);
    if (!isObject(found)) {
        return Error{std::string("\"") + key + "\" is missing or no object: expected an object"};
    }
    return found;
}

Result<int> takeInteger(const cJSON *object, const char *key) {
    const double value = numberIn(object, key).value_or(std::nan(""));
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

Json newObject() { return Json(orThrow(cJSON_CreateObject())); }

Json newList() { return Json(orThrow(cJSON_CreateArray())); }

Json newNull() { return Json(orThrow(cJSON_CreateNull())); }

Json message(std::initializer_list<std::pair<const char *, std::string>> texts) {
    Json object = newObject();
    for (const auto &[key, text] : texts) {
        add(object.get(), key, text);
    }
    return object;
}

// cJSON rounds to 15 digits.
Json newNumber(const std::string &digits) {
    constexpr std::size_t kExact = 15;
    return Json(orThrow(digits.size() <= kExact ? cJSON_CreateNumber(std::stod(digits))
                                                : cJSON_CreateRaw(digits.c_str())));
}

void add(cJSON *object, const char *key, Json value) {
    if (cJSON_AddItemToObject(object, key, orThrow(value.get())) == 0) {
        throw std::bad_alloc();
    }
    static_cast<void>(value.release());
}

void append(cJSON *list, Json value) {
    if (cJSON_AddItemToArray(list, orThrow(value.get())) == 0) {
        throw std::bad_alloc();
    }
    static_cast<void>(value.release());
}

void add(cJSON *object, const char *key, const char *text) {
    if (text != nullptr) {
        orThrow(cJSON_AddStringToObject(object, key, text));
    }
}

void add(cJSON *object, const char *key, const std::string &text) {
    add(object, key, text.c_str());
}

void add(cJSON *object, const char *key, bool value) {
    orThrow(cJSON_AddBoolToObject(object, key, value ? 1 : 0));
}

void add(cJSON *object, const char *key, double number) {
    orThrow(cJSON_AddNumberToObject(object, key, number));
}

void add(cJSON *object, const char *key, std::optional<std::uint64_t> number) {
    add(object, key, number ? newNumber(std::to_string(*number)) : newNull());
}

void add(cJSON *object, const char *key, const std::vector<std::string> &texts) {
    Json list = newList();
    for (const std::string &text : texts) {
        append(list.get(), Json(orThrow(cJSON_CreateString(text.c_str()))));
    }
    add(object, key, std::move(list));
}

std::string printed(const cJSON *item) {
    return item == nullptr ? "" : JsonText(orThrow(cJSON_PrintUnformatted(item))).get();
}

std::string printedInLines(const cJSON *item) {
    return item == nullptr ? "" : JsonText(orThrow(cJSON_Print(item))).get();
}

void printJson(const cJSON *item) {
    std::printf("%s\n", withoutHighControls(printed(item)).c_str());
    std::fflush(stdout);
}

} // namespace base
