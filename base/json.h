// SPDX-License-Identifier: MIT
// JSON, read and written: the one place around cJSON.
#ifndef BASE_JSON_H
#define BASE_JSON_H

#include "base/result.h"

#include <cjson/cJSON.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace base {

struct JsonDelete {
    void operator()(cJSON *object) const { cJSON_Delete(object); }
};
using Json = std::unique_ptr<cJSON, JsonDelete>;

struct JsonTextFree {
    void operator()(char *text) const { cJSON_free(text); }
};
using JsonText = std::unique_ptr<char, JsonTextFree>;

// Reading.

/* Null where the text is not JSON. */
Json parsed(const std::string &text);
/* Null where the text is not one object with nothing but blanks behind it. */
Json parseObject(std::string_view text);
/* The object that the text holds; null for an empty text; else the text itself, as a string. */
Json parsedOrText(const std::string &text);
/* Empty where there is no such text, or no object. */
std::string textOf(const cJSON *object, const char *key);
/* 0 where there is no such number. */
int numberOf(const cJSON *object, const char *key);

// Checked values out of an object that came from outside.

/* Each error names the key. */

Result<std::string> takeText(const cJSON *object, const char *key);

/* A whole number that fits in an int. */
Result<int> takeInteger(const cJSON *object, const char *key);

/* A whole number from `least` to `most`. */
Result<int> takeIntegerWithin(const cJSON *object, const char *key, int least, int most);

// Writing; std::bad_alloc where memory ran out.

/* An object of texts, in this order. */
Json message(std::initializer_list<std::pair<const char *, std::string>> texts);
Json newObject();
void add(cJSON *object, const char *key, const std::string &text);
void add(cJSON *object, const char *key, const char *text);
void add(cJSON *object, const char *key, bool value);
/* Exact up to 2^53, as every reader of JSON numbers. */
void add(cJSON *object, const char *key, std::uint64_t number);
void add(cJSON *object, const char *key, std::uint32_t number);
void add(cJSON *object, const char *key, std::int32_t number);
/* Nothing is null. */
void add(cJSON *object, const char *key, std::optional<std::uint64_t> number);
/* Takes the value over. */
void add(cJSON *object, const char *key, Json value);

/* The object as text on one line; empty where memory ran out. */
std::string printed(const cJSON *object);
/* Prints one line and flushes it, so that a reader at the other end of a pipe has it at once. */
void printJson(const cJSON *object);

} // namespace base

#endif
