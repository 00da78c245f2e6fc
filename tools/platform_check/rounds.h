// SPDX-License-Identifier: MIT
// Every call that changes nothing, made once after the other.
#ifndef TOOLS_PLATFORM_CHECK_ROUNDS_H
#define TOOLS_PLATFORM_CHECK_ROUNDS_H

#include "tools/platform_check/platform.h"

namespace check {

/* All but the logger. */
void askAll(const Platform &platform);
/* The logger too. */
void askAndLog(const Platform &platform);

} // namespace check

#endif
