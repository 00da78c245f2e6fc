// SPDX-License-Identifier: MIT
// From a record to a new JSON object.
#pragma once

#include "support/fields.h"

namespace ota::json {

// A new object with the fields in order; null for a null record or when memory ran out.
cJSON *encodeFields(Fields fields, const void *record);

} // namespace ota::json
