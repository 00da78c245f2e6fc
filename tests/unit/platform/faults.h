// SPDX-License-Identifier: MIT
// Storage faults on demand: calls of libc that fail or lie from the n-th on.
#ifndef TESTS_PLATFORM_FAULTS_H
#define TESTS_PLATFORM_FAULTS_H

#include <functional>
#include <string>

namespace faults {

enum class Call { rename, fileSync, directorySync, write };

/* The n-th call from now on, counted from 1, and every later one fails with this errno. */
void failFrom(Call call, int n, int errnoValue);

/* write takes at most this many bytes at once. */
void shortenWrites(std::size_t most);

/* Run once, right after the n-th successful fsync of a file, counted from 1. */
void afterFileSync(int n, std::function<void()> action);

void clear();

} // namespace faults

#endif
