// SPDX-License-Identifier: MIT
// From a record to a new JSON object.
#include "json/encode.h"

#include <string.h>

namespace ota::json {

namespace {

// The result is not looked at: a member that memory has no room for is missing.
void encodeField(const Field &field, const char *record, cJSON *object) {
    const char *place = record + field.offset;
    if (field.textWidth != 0) {
        cJSON_AddStringToObject(object, field.key, place);
        return;
    }
    int32_t number = 0;
    memcpy(&number, place, sizeof number);
    cJSON_AddNumberToObject(object, field.key, number);
}

} // namespace

cJSON *encodeFields(Fields fields, const void *record) {
    if (record == nullptr) {
        return nullptr;
    }
    cJSON *object = cJSON_CreateObject();
    if (object == nullptr) {
        return nullptr;
    }
    for (const Field &field : fields) {
        encodeField(field, static_cast<const char *>(record), object);
    }
    return object;
}

} // namespace ota::json
