// SPDX-License-Identifier: MIT
#include "service/state/json_object.h"

namespace service {

base::Json parseObject(std::string_view text) {
    const char *end = nullptr;
    base::Json object(cJSON_ParseWithLengthOpts(text.data(), text.size(), &end, 0));
    if (!object || !cJSON_IsObject(object.get())) {
        return nullptr;
    }
    const std::string_view rest = text.substr(static_cast<std::size_t>(end - text.data()));
    return rest.find_first_not_of(" \t\r\n") == std::string_view::npos ? std::move(object)
                                                                       : nullptr;
}

} // namespace service
