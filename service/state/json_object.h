// SPDX-License-Identifier: MIT
// One JSON object out of a text.
#ifndef SERVICE_STATE_JSON_OBJECT_H
#define SERVICE_STATE_JSON_OBJECT_H

#include "base/json.h"

#include <string_view>

namespace service {

/* Null where the text is not one object with nothing but blanks behind it. */
base::Json parseObject(std::string_view text);

} // namespace service

#endif
