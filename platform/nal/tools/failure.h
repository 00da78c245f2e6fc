// SPDX-License-Identifier: MIT
// How the storage tools tell a failure.
#ifndef PLATFORM_NAL_TOOLS_FAILURE_H
#define PLATFORM_NAL_TOOLS_FAILURE_H

#include "host/printable.h"

#include <cstdio>
#include <string>

namespace tools {

/* One line on standard error. False. */
inline bool reportFailure(const char *program, const std::string &what) {
    std::fprintf(stderr, "%s: %s\n", program, host::printable(what).c_str());
    return false;
}

} // namespace tools

#endif
