// SPDX-License-Identifier: MIT
// Time as it is counted, and how long pieces of work took together.
#ifndef BASE_TIMED_H
#define BASE_TIMED_H

#include <chrono>
#include <cstdint>

namespace base {

inline constexpr std::int64_t kMsPerSecond = 1000;

/* Does the work and returns what it returns; adds to the sum how long it took. */
template <typename Work>
auto timed(std::chrono::nanoseconds &sum, const Work &work) {
    const auto began = std::chrono::steady_clock::now();
    auto result = work();
    sum += std::chrono::steady_clock::now() - began;
    return result;
}

} // namespace base

#endif
