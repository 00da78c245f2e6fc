// SPDX-License-Identifier: MIT
// Storage faults on demand: calls of libc that fail or lie from the n-th on.
#ifndef TESTS_NODE_FAULTS_H
#define TESTS_NODE_FAULTS_H

#include <functional>
#include <string>

namespace faults {

/* move: a splice, from a file or into one. */
enum class Call { rename, fileSync, directorySync, write, lock, move };

/* The n-th call from now on, counted from 1, and every later one fails with this errno. */
void failFrom(Call call, int n, int errnoValue);

/* The same for that one call alone. */
void failOnce(Call call, int n, int errnoValue);

/*
 * The process ends, as in a power cut, at the n-th call from now on that changes the storage:
 * write, splice, pwrite, fsync, rename or ftruncate, counted from 1. A write stores half of its
 * bytes.
 */
void cutPowerAt(int n);
constexpr int kPowerCut = 77; // the exit code of that end

/* write, and splice into a file, take at most this many bytes at once. */
void shortenWrites(std::size_t most);

/* Run once, right after the n-th successful fsync of a file, counted from 1. */
void afterFileSync(int n, std::function<void()> action);

void clear();

} // namespace faults

#endif
