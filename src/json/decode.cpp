// SPDX-License-Identifier: MIT
// From a JSON object into a record, and from a text into an object.
#include "json/decode.h"

#include "support/handle.h"
#include "support/text.h"

namespace ota::json {

namespace {

void decodeField(const Field &field, const cJSON *item, char *record) {
    char *place = record + field.offset;
    if (field.textWidth == 0) {
        if (cJSON_IsNumber(item)) {
            memcpy(place, &item->valueint, sizeof(int32_t));
        }
        return;
    }
    const char *text = cJSON_GetStringValue(item); // null for anything but a string
    if (text != nullptr) {
        copyCharacters(place, text, field.textWidth - size_t{1});
    }
}

} // namespace

void decodeFields(Fields fields, const cJSON *object, void *record) {
    for (const Field &field : fields) {
        decodeField(field, cJSON_GetObjectItemCaseSensitive(object, field.key),
                    static_cast<char *>(record));
    }
}

int parseRecord(const char *text, void *record, int (*decode)(const cJSON *, void *)) {
    if (text == nullptr || record == nullptr) {
        return -1;
    }
    const Json object{cJSON_Parse(text)};
    return object ? decode(object.get(), record) : -1;
}

} // namespace ota::json
