// SPDX-License-Identifier: MIT
#include "base/json_fields.h"

#include <cmath>
#include <limits>

namespace base {

Result<std::string> takeText(const cJSON *object, const char *key) {
    const char *const text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    if (text == nullptr) {
        return Error{std::string("\"") + key + "\" is missing or no text: expected a text"};
    }
    return std::string(text);
}

Result<int> takeInteger(const cJSON *object, const char *key) {
    const cJSON *const item = cJSON_GetObjectItemCaseSensitive(object, key);
    const double value = cJSON_IsNumber(item) ? item->valuedouble : std::nan("");
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

} // namespace base
