// SPDX-License-Identifier: MIT
// Owning handles for cJSON objects and printed texts.
#ifndef BASE_JSON_H
#define BASE_JSON_H

#include <cjson/cJSON.h>

#include <memory>

namespace base {

struct JsonDelete {
    void operator()(cJSON *object) const { cJSON_Delete(object); }
};
using Json = std::unique_ptr<cJSON, JsonDelete>;

struct JsonTextFree {
    void operator()(char *text) const { cJSON_free(text); }
};
using JsonText = std::unique_ptr<char, JsonTextFree>;

} // namespace base

#endif
