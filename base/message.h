// SPDX-License-Identifier: MIT
// Small JSON messages, made and read.
#ifndef BASE_MESSAGE_H
#define BASE_MESSAGE_H

#include "base/json.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace base {

/* An object of texts, in this order. */
Json message(std::initializer_list<std::pair<const char *, std::string>> texts);
/* The object as text on one line; empty where memory ran out. */
std::string printed(const cJSON *object);
/* Null where the text is not JSON. */
Json parsed(const std::string &text);
/* Empty where there is no such text, or no object. */
std::string textOf(const cJSON *object, const char *key);
/* 0 where there is no such number. */
int numberOf(const cJSON *object, const char *key);

} // namespace base

#endif
