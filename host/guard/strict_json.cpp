// SPDX-License-Identifier: MIT
// One JSON object from outside, read without the liberties that parsers take.
#include "host/guard/strict_json.h"

#include "host/guard/json_text.h"

#include <charconv>
#include <limits>

namespace host::guard {
namespace {

bool isWholeNumber(std::string_view spelling) {
    return !spelling.empty() && spelling.find_first_not_of("-0123456789") == std::string_view::npos;
}

Refusal mistyped(const char *key, const char *expected) {
    return {Outcome::keyMistyped, key, std::string("is not ") + expected};
}

} // namespace

std::optional<Refusal> StrictObject::read(std::string_view text, const char *field) {
    object_.reset();
    spellings_.clear();
    if (text.size() > kMaxText) {
        return Refusal{Outcome::descriptorTooLarge, field,
                       "has " + std::to_string(text.size()) + " bytes, at most " +
                           std::to_string(kMaxText) + " are allowed"};
    }
    std::vector<std::string_view> values;
    std::string fault;
    if (!scanObject(text, values, fault)) {
        return Refusal{Outcome::descriptorNotOneObject, field, fault};
    }
    object_.reset(cJSON_ParseWithLength(text.data(), text.size()));
    // Where memory is short, or cJSON is one that takes less than the grammar has.
    if (static_cast<std::size_t>(cJSON_GetArraySize(object_.get())) != values.size()) {
        object_.reset();
        return Refusal{Outcome::descriptorNotOneObject, field,
                       "has a value that the agent cannot read"};
    }
    spellings_.assign(values.begin(), values.end());
    return std::nullopt;
}

bool StrictObject::has(const char *key) const {
    return cJSON_GetObjectItemCaseSensitive(object_.get(), key) != nullptr;
}

// cJSON keeps every member of the same key, and whoever reads the object takes the first.
std::optional<Refusal> StrictObject::findOnly(const char *key, std::size_t &index,
                                              const cJSON *&item) const {
    item = nullptr;
    std::size_t at = 0;
    const cJSON *child = nullptr;
    cJSON_ArrayForEach(child, object_.get()) {
        if (std::string_view(child->string) == key) {
            if (item != nullptr) {
                return Refusal{Outcome::keyRepeated, key, "stands there more than once"};
            }
            item = child;
            index = at;
        }
        ++at;
    }
    if (item == nullptr) {
        return Refusal{Outcome::keyMissing, key, "is missing"};
    }
    return std::nullopt;
}

std::optional<Refusal> StrictObject::takeText(const char *key, std::size_t width,
                                              std::string &value) const {
    std::size_t index = 0;
    const cJSON *item = nullptr;
    if (auto refusal = findOnly(key, index, item)) {
        return refusal;
    }
    if (!cJSON_IsString(item)) {
        return mistyped(key, "a text");
    }
    const std::string_view text = item->valuestring;
    if (text.size() >= width) {
        return Refusal{Outcome::keyTooLong, key,
                       "has " + std::to_string(text.size()) + " bytes, at most " +
                           std::to_string(width - 1) + " are allowed"};
    }
    value = text;
    return std::nullopt;
}

std::optional<Refusal> StrictObject::takeWholeNumber(const char *key, int &value) const {
    std::size_t index = 0;
    const cJSON *item = nullptr;
    if (auto refusal = findOnly(key, index, item)) {
        return refusal;
    }
    const std::string &spelling = spellings_[index];
    if (!cJSON_IsNumber(item) || !isWholeNumber(spelling)) {
        return mistyped(key, "a whole number, written without fraction and exponent");
    }
    int number = 0;
    const auto read = std::from_chars(spelling.data(), spelling.data() + spelling.size(), number);
    if (read.ec == std::errc::result_out_of_range) {
        number = spelling.front() == '-' ? std::numeric_limits<int>::min()
                                         : std::numeric_limits<int>::max();
    }
    value = number;
    return std::nullopt;
}

} // namespace host::guard
