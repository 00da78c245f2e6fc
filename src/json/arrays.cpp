// SPDX-License-Identifier: MIT
// Arrays of records, on top of the JSON library's own calls.
#include "otaSwAgent/codec.h"
#include "support/handle.h"

int cJSON_GetObjectArray(const cJSON *array, void *base, size_t elementSize, int maxCount,
                         int (*decodeElement)(const cJSON *, void *)) {
    if (!cJSON_IsArray(array)) {
        return 0;
    }
    char *slot = static_cast<char *>(base);
    int decoded = 0;
    for (const cJSON *element = array->child; element != nullptr && decoded < maxCount;
         element = element->next) {
        decodeElement(element, slot);
        slot += elementSize;
        ++decoded;
    }
    return decoded;
}

cJSON *cJSON_CreateObjectArray(const void *base, int count, size_t elementSize,
                               cJSON *(*encodeElement)(const void *)) {
    ota::Json array{cJSON_CreateArray()};
    if (!array) {
        return nullptr;
    }
    const char *slot = static_cast<const char *>(base);
    for (int i = 0; i < count; ++i, slot += elementSize) {
        cJSON *element = encodeElement(slot);
        if (!cJSON_AddItemToArray(array.get(), element)) { // refuses a null element
            cJSON_Delete(element);
            return nullptr;
        }
    }
    return array.release();
}
