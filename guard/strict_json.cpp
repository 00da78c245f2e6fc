// SPDX-License-Identifier: MIT
#include "guard/strict_json.h"

#include "guard/json_text.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace guard {
namespace {

Refusal mistyped(const char *key, const char *expected) {
    return {base::Outcome::keyMistyped, key, std::string("is not ") + expected};
}

} // namespace

std::optional<Refusal> StrictObject::read(std::string_view text, const char *field) {
    object_.reset();
    if (text.size() > kMaxText) {
        return Refusal{base::Outcome::descriptorTooLarge, field,
                       "has " + std::to_string(text.size()) + " bytes, at most " +
                           std::to_string(kMaxText) + " are allowed"};
    }
    std::vector<std::string_view> values;
    std::string fault;
    if (!scanObject(text, values, fault)) {
        return Refusal{base::Outcome::descriptorNotOneObject, field, fault};
    }
    object_.reset(cJSON_ParseWithLength(text.data(), text.size()));
    // Where memory is short, or cJSON is one that takes less than the grammar has.
    if (static_cast<std::size_t>(cJSON_GetArraySize(object_.get())) != values.size()) {
        object_.reset();
        return Refusal{base::Outcome::descriptorNotOneObject, field,
                       "has a value that the agent cannot read"};
    }
    return std::nullopt;
}

bool StrictObject::has(const char *key) const {
    return cJSON_GetObjectItemCaseSensitive(object_.get(), key) != nullptr;
}

// cJSON keeps every member of the same key, and whoever reads the object takes the first.
std::optional<Refusal> StrictObject::findOnly(const char *key, const cJSON *&item) const {
    item = nullptr;
    const cJSON *child = nullptr;
    cJSON_ArrayForEach(child, object_.get()) {
        if (std::string_view(child->string) == key) {
            if (item != nullptr) {
                return Refusal{base::Outcome::keyRepeated, key, "stands there more than once"};
            }
            item = child;
        }
    }
    if (item == nullptr) {
        return Refusal{base::Outcome::keyMissing, key, "is missing"};
    }
    return std::nullopt;
}

std::optional<Refusal> StrictObject::takeText(const char *key, std::size_t width,
                                              std::string &value) const {
    const cJSON *item = nullptr;
    if (auto refusal = findOnly(key, item)) {
        return refusal;
    }
    if (!cJSON_IsString(item)) {
        return mistyped(key, "a text");
    }
    const std::string_view text = item->valuestring;
    if (text.size() >= width) {
        return Refusal{base::Outcome::keyTooLong, key,
                       "has " + std::to_string(text.size()) + " bytes, at most " +
                           std::to_string(width - 1) + " are allowed"};
    }
    value = text;
    return std::nullopt;
}

std::optional<Refusal> StrictObject::takeWholeNumber(const char *key, int &value) const {
    const cJSON *item = nullptr;
    if (auto refusal = findOnly(key, item)) {
        return refusal;
    }
    const double number = cJSON_IsNumber(item) ? item->valuedouble : std::nan("");
    if (std::trunc(number) != number) {
        return mistyped(key, "a whole number");
    }
    constexpr double kLeast = std::numeric_limits<int>::min();
    constexpr double kMost = std::numeric_limits<int>::max();
    value = static_cast<int>(std::clamp(number, kLeast, kMost));
    return std::nullopt;
}

} // namespace guard
