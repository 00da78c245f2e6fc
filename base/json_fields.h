// SPDX-License-Identifier: MIT
// Checked values out of a JSON object that came from outside.
#ifndef BASE_JSON_FIELDS_H
#define BASE_JSON_FIELDS_H

#include "base/json.h"
#include "base/result.h"

#include <string>

namespace base {

/* Each error names the key. */

Result<std::string> takeText(const cJSON *object, const char *key);

/* A whole number that fits in an int. */
Result<int> takeInteger(const cJSON *object, const char *key);

/* A whole number from `least` to `most`. */
Result<int> takeIntegerWithin(const cJSON *object, const char *key, int least, int most);

} // namespace base

#endif
