// SPDX-License-Identifier: MIT
#include "tools/verbs.h"

#include <cstring>

namespace tools {

std::string nameOf(const char *argument) {
    const char *const slash = std::strrchr(argument, '/');
    return slash == nullptr ? argument : slash + 1;
}

base::Parameter jsonOption(Caller &caller) {
    return {"--json", base::flag(caller.json), "Print JSON, one object a line"};
}

} // namespace tools
