// SPDX-License-Identifier: MIT
// Who wants to follow the agent's log entries is told each one that was written.
#ifndef PLATFORM_LOG_HOOK_H
#define PLATFORM_LOG_HOOK_H

#include <string_view>

/*
 * Called after each notice and error with the function that wrote it and its formatted text, prefix
 * and line end included; `text` is valid during the call only. Must log nothing itself. One at a
 * time; null, as at the beginning: none.
 */
void nalOnLog(void (*told)(const char *function, int line, std::string_view text));

#endif
