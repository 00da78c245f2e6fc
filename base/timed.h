// SPDX-License-Identifier: MIT
// How long a piece of work took, added to what the pieces before it took.
#ifndef BASE_TIMED_H
#define BASE_TIMED_H

#include <chrono>

namespace base {

/* Does the work and returns what it returns. */
template <typename Work>
auto timed(std::chrono::nanoseconds &sum, const Work &work) {
    const auto began = std::chrono::steady_clock::now();
    auto result = work();
    sum += std::chrono::steady_clock::now() - began;
    return result;
}

} // namespace base

#endif
