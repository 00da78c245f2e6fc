// SPDX-License-Identifier: MIT
// Shell commands of a fixed width, run without looking at their result.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

namespace ota {

// Formats with a limit of `Limit` bytes, so that a longer command is cut at Limit - 1 characters,
// and runs what is left of it.
template <size_t Limit>
[[gnu::format(printf, 1, 2)]] void runShell(const char *format, ...) {
    char command[Limit]{};
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(command, Limit, format, arguments);
    va_end(arguments);
    static_cast<void>(system(command));
}

} // namespace ota
