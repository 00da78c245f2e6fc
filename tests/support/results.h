// SPDX-License-Identifier: MIT
// Results as a test's expectations take them.
#ifndef TESTS_SUPPORT_RESULTS_H
#define TESTS_SUPPORT_RESULTS_H

#include "base/result.h"

#include <string>
#include <utility>

/* Takes the value over, or the error's line. */
template <typename T>
bool took(base::Result<T> result, T &value, std::string &whatIsWrong) {
    if (result) {
        value = std::move(*result);
    } else {
        whatIsWrong = result.error().text;
    }
    return static_cast<bool>(result);
}

inline bool succeeds(const base::Result<void> &result, std::string &whatIsWrong) {
    if (!result) {
        whatIsWrong = result.error().text;
    }
    return static_cast<bool>(result);
}

#endif
