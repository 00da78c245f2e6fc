// SPDX-License-Identifier: MIT
#include "base/message.h"

#include <new>

namespace base {

Json message(std::initializer_list<std::pair<const char *, std::string>> texts) {
    Json object(cJSON_CreateObject());
    for (const auto &[key, text] : texts) {
        if (cJSON_AddStringToObject(object.get(), key, text.c_str()) == nullptr) {
            throw std::bad_alloc();
        }
    }
    return object;
}

std::string printed(const cJSON *object) {
    const JsonText text(cJSON_PrintUnformatted(object));
    return text ? text.get() : "";
}

Json parsed(const std::string &text) { return Json(cJSON_Parse(text.c_str())); }

std::string textOf(const cJSON *object, const char *key) {
    const char *const text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    return text == nullptr ? "" : text;
}

int numberOf(const cJSON *object, const char *key) {
    const cJSON *const number = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(number) ? number->valueint : 0;
}

} // namespace base
