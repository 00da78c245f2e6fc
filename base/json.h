// SPDX-License-Identifier: MIT
// JSON, read and written: the one place around cJSON.
#ifndef BASE_JSON_H
#define BASE_JSON_H

#include "base/result.h"

#include <cjson/cJSON.h>

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace base {

struct JsonDelete {
    void operator()(cJSON *object) const { cJSON_Delete(object); }
};
using Json = std::unique_ptr<cJSON, JsonDelete>;

struct JsonTextFree {
    void operator()(char *text) const { cJSON_free(text); }
};
using JsonText = std::unique_ptr<char, JsonTextFree>;

/* JSON carries whole numbers up to 2^53: beyond it a double skips some. */
constexpr double kMostWhole = 9007199254740992.0;

// Reading. Nothing is found in what is no object, null included; keys differ in their case.

/* Null where the text does not begin with a JSON value. */
Json parsed(std::string_view text);
/* Null where the text is not one object with nothing but blanks behind it. */
Json parseObject(std::string_view text);
/* The object that the text holds; null for an empty text; else the text itself, as a string. */
Json parsedOrText(const std::string &text);

/* Null where there is no such member. */
const cJSON *itemOf(const cJSON *object, const char *key);
cJSON *itemOf(cJSON *object, const char *key);
bool isObject(const cJSON *item);
/* Those of an object or a list, in their order. */
std::vector<const cJSON *> membersOf(const cJSON *item);

/* Empty where the item is no text. */
std::string textOf(const cJSON *item);
std::string textOf(const cJSON *object, const char *key);
/* Of whatever size, with a fraction. */
std::optional<double> numberIn(const cJSON *item);
std::optional<double> numberIn(const cJSON *object, const char *key);
/* As an int, the nearest there is. */
int numberOf(const cJSON *object, const char *key, int otherwise = 0);

// Checked values out of an object that came from outside. Each error names the key.

Result<std::string> takeText(const cJSON *object, const char *key);
Result<const cJSON *> takeObject(const cJSON *object, const char *key);
/* A whole number that fits in an int. */
Result<int> takeInteger(const cJSON *object, const char *key);
/* A whole number from `least` to `most`. */
Result<int> takeIntegerWithin(const cJSON *object, const char *key, int least, int most);

// Writing; std::bad_alloc where memory ran out.

Json newObject();
Json newList();
/* An object of texts, in this order. */
Json message(std::initializer_list<std::pair<const char *, std::string>> texts);
Json newNull();
/* A whole number, of which every digit is printed. */
Json newNumber(const std::string &digits);

/* The value is the object's, or the list's, from then on. */
void add(cJSON *object, const char *key, Json value);
void append(cJSON *list, Json value);
void add(cJSON *object, const char *key, const std::string &text);
/* Null is left out. */
void add(cJSON *object, const char *key, const char *text);
void add(cJSON *object, const char *key, bool value);
void add(cJSON *object, const char *key, double number);
/* Nothing is null. */
void add(cJSON *object, const char *key, std::optional<std::uint64_t> number);
void add(cJSON *object, const char *key, const std::vector<std::string> &texts);

template <std::integral Number>
void add(cJSON *object, const char *key, Number number) {
    add(object, key, newNumber(std::to_string(number)));
}

/* On one line; of null it is empty. */
std::string printed(const cJSON *item);
/* With line breaks and tabs. */
std::string printedInLines(const cJSON *item);
/* Prints one line and flushes it, so that a reader at the other end of a pipe has it at once. */
void printJson(const cJSON *item);

} // namespace base

#endif
