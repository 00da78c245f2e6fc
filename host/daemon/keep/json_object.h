// SPDX-License-Identifier: MIT
// One JSON object out of a text.
#ifndef HOST_DAEMON_KEEP_JSON_OBJECT_H
#define HOST_DAEMON_KEEP_JSON_OBJECT_H

#include "host/json.h"

#include <string_view>

namespace otad {

/* Null where the text is not one object with nothing but blanks behind it. */
host::Json parseObject(std::string_view text);

} // namespace otad

#endif
