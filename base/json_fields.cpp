// SPDX-License-Identifier: MIT
#include "base/json_fields.h"

#include <cmath>
#include <limits>

namespace base {

const char *takeText(const cJSON *object, const char *key, std::string &whatIsWrong) {
    const char *const text = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, key));
    if (text == nullptr) {
        whatIsWrong = std::string("\"") + key + "\" is missing or no text: expected a text";
    }
    return text;
}

bool takeInteger(const cJSON *object, const char *key, int &number, std::string &whatIsWrong) {
    const cJSON *const item = cJSON_GetObjectItemCaseSensitive(object, key);
    const double value = cJSON_IsNumber(item) ? item->valuedouble : std::nan("");
    if (!(std::trunc(value) == value && value >= std::numeric_limits<int>::min() &&
          value <= std::numeric_limits<int>::max())) {
        whatIsWrong =
            std::string("\"") + key + "\" is missing or no whole number: expected a whole number";
        return false;
    }
    number = static_cast<int>(value);
    return true;
}

bool takeIntegerWithin(const cJSON *object, const char *key, int least, int most, int &number,
                       std::string &whatIsWrong) {
    int value = 0;
    if (!takeInteger(object, key, value, whatIsWrong)) {
        return false;
    }
    if (value < least || value > most) {
        whatIsWrong = std::string("\"") + key + "\" is out of range: expected " +
                      std::to_string(least) + " to " + std::to_string(most);
        return false;
    }
    number = value;
    return true;
}

} // namespace base
