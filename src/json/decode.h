// SPDX-License-Identifier: MIT
// From a JSON object into a record, and from a text into an object.
#pragma once

#include "support/fields.h"

namespace ota::json {

// Fills what is present and of the right type; leaves every other field as it was.
void decodeFields(Fields fields, const cJSON *object, void *record);

// Parses and decodes; -1 for a null argument or a text that is not JSON.
int parseRecord(const char *text, void *record, int (*decode)(const cJSON *, void *));

} // namespace ota::json
