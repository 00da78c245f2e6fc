// SPDX-License-Identifier: MIT
// What otactl prints for programs: JSON, one object a line.
#ifndef CLI_JSON_OUTPUT_H
#define CLI_JSON_OUTPUT_H

#include "base/json.h"
#include "base/outcome.h"

#include <cstdint>
#include <optional>
#include <string>

namespace cli {

base::Json newObject();
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
void add(cJSON *object, const char *key, base::Json value);

/* The object that the text holds; null for an empty text; else the text itself, as a string. */
base::Json parsedOrText(const std::string &text);
/* The text of that key; empty where there is none. */
std::string textOf(const cJSON *object, const char *key);
/* {"code":..,"result":..,"reason":..} */
base::Json outcomeAsJson(const base::OutcomeRow &row, const std::string &reason);

/* Prints one line and flushes it, so that a reader at the other end of a pipe has it at once. */
void printJson(const cJSON *object);

} // namespace cli

#endif
