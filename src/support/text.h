// SPDX-License-Identifier: MIT
// Bounded text: the width comes from the array, a smaller limit is said.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>
#include <string.h>

namespace ota {

// At most `count` characters of `source`, zero-padded up to there; nothing beyond is written.
// What strncpy does, said in a way that shows the cut is meant.
inline void copyCharacters(char *destination, const char *source, size_t count) {
    const size_t length = strnlen(source, count);
    memcpy(destination, source, length);
    memset(destination + length, 0, count - length);
}

// Width - 1 characters; the last byte is left alone.
template <size_t Width>
void copyText(char (&destination)[Width], const char *source) {
    copyCharacters(destination, source, Width - 1);
}

// The same into a cleared text, so the result is always terminated.
template <size_t Width>
void setText(char (&destination)[Width], const char *source) {
    memset(destination, 0, Width);
    copyText(destination, source);
}

template <size_t Width>
void terminate(char (&text)[Width]) {
    text[Width - 1] = '\0';
}

inline bool sameText(const char *left, const char *right) { return strcmp(left, right) == 0; }

inline bool isEmpty(const char *text) { return text[0] == '\0'; }

// Formats with a limit of `limit` bytes: what is longer is cut at limit - 1 characters.
[[gnu::format(printf, 3, 4)]] inline void formatCut(char *destination, size_t limit,
                                                    const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(destination, limit, format, arguments);
    va_end(arguments);
}

// "directory/leaf", whole; the destination's room is its owner's care.
inline void joinPath(char *destination, const char *directory, const char *leaf) {
    const size_t length = strlen(directory);
    copyCharacters(destination, directory, length);
    destination[length] = '/';
    copyCharacters(destination + length + 1, leaf, strlen(leaf) + 1);
}

// The length as the logs print it.
inline int lengthOf(const char *text) { return static_cast<int>(strlen(text)); }

} // namespace ota
