// SPDX-License-Identifier: MIT
// How the storage tools tell a failure.
#ifndef TOOLS_FAILURE_H
#define TOOLS_FAILURE_H

#include "base/text.h"

#include <cstdio>
#include <string>

namespace tools {

/* One line on standard error. False. */
inline bool reportFailure(const char *program, const std::string &what) {
    std::fprintf(stderr, "%s: %s\n", program, base::printable(what).c_str());
    return false;
}

} // namespace tools

#endif
