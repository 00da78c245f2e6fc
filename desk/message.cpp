// SPDX-License-Identifier: MIT
// Small JSON messages by cJSON.
#include "desk/message.h"

#include <new>

namespace desk {

host::Json message(std::initializer_list<std::pair<const char *, std::string>> texts) {
    host::Json object(cJSON_CreateObject());
    for (const auto &[key, text] : texts) {
        if (cJSON_AddStringToObject(object.get(), key, text.c_str()) == nullptr) {
            throw std::bad_alloc();
        }
    }
    return object;
}

std::string printed(const cJSON *object) {
    const host::JsonText text(cJSON_PrintUnformatted(object));
    return text ? text.get() : "";
}

host::Json parsed(const std::string &text) { return host::Json(cJSON_Parse(text.c_str())); }

std::string textOf(const cJSON *object, const char *key) {
    const char *text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    return text == nullptr ? "" : text;
}

int numberOf(const cJSON *object, const char *key) {
    const cJSON *number = cJSON_GetObjectItemCaseSensitive(object, key);
    return cJSON_IsNumber(number) ? number->valueint : 0;
}

} // namespace desk
