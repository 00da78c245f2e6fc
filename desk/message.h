// SPDX-License-Identifier: MIT
// Small JSON messages: making them and reading their fields.
#ifndef DESK_MESSAGE_H
#define DESK_MESSAGE_H

#include "host/json.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace desk {

// An object of texts, in this order.
host::Json message(std::initializer_list<std::pair<const char *, std::string>> texts);
// The object as text on one line.
std::string printed(const cJSON *object);
// Null where the text is not JSON.
host::Json parsed(const std::string &text);
// Empty where there is no such text.
std::string textOf(const cJSON *object, const char *key);
// 0 where there is no such number.
int numberOf(const cJSON *object, const char *key);

} // namespace desk

#endif
