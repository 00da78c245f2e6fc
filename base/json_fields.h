// SPDX-License-Identifier: MIT
// Checked values out of a JSON object that came from outside.
#ifndef BASE_JSON_FIELDS_H
#define BASE_JSON_FIELDS_H

#include "base/json.h"

#include <string>

namespace base {

/* The object's text, which stays the object's. Null: whatIsWrong names the key. */
const char *takeText(const cJSON *object, const char *key, std::string &whatIsWrong);

/* A whole number that fits in an int. False: whatIsWrong names the key. */
bool takeInteger(const cJSON *object, const char *key, int &number, std::string &whatIsWrong);

/* A whole number from `least` to `most`. False: whatIsWrong names the key and the range. */
bool takeIntegerWithin(const cJSON *object, const char *key, int least, int most, int &number,
                       std::string &whatIsWrong);

} // namespace base

#endif
