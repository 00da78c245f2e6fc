// SPDX-License-Identifier: MIT
// What our programs print for others: JSON, one object a line.
#ifndef BASE_JSON_OUTPUT_H
#define BASE_JSON_OUTPUT_H

#include "base/json.h"
#include "base/outcome.h"

#include <cstdint>
#include <optional>
#include <string>

namespace base {

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

/* The object that the text holds; null for an empty text; else the text itself, as a string. */
Json parsedOrText(const std::string &text);
/* {"code":..,"result":..,"reason":..} */
Json outcomeAsJson(const OutcomeRow &row, const std::string &reason);

/* {"code":0,"result":"done","reason":""}, to be added to. */
Json success();

/* Prints one line and flushes it, so that a reader at the other end of a pipe has it at once. */
void printJson(const cJSON *object);

} // namespace base

#endif
