// SPDX-License-Identifier: MIT
// A failure that a person meets: one line that says what, where and what to do.
#ifndef DESK_FAILURE_H
#define DESK_FAILURE_H

#include <stdexcept>
#include <string>

namespace desk {

class Failure : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace desk

#endif
