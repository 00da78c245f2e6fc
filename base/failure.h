// SPDX-License-Identifier: MIT
// A failure that a person meets: what went wrong, and which outcome of the table it is.
#ifndef BASE_FAILURE_H
#define BASE_FAILURE_H

#include "base/outcome.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace base {

class Failure : public std::runtime_error {
  public:
    /* Without an advice it is that of the table. */
    Failure(Outcome outcome, const std::string &what, std::string advice = "")
        : std::runtime_error(what), outcome_(outcome), advice_(std::move(advice)) {}

    [[nodiscard]] Outcome outcome() const { return outcome_; }
    [[nodiscard]] std::string advice() const {
        return advice_.empty() ? rowOf(outcome_).remedy : advice_;
    }

  private:
    Outcome outcome_;
    std::string advice_;
};

/* Tells the failure of the program in one line on standard error: what, and the advice;
 * with json also as one object on standard output. Returns the exit code. */
int tellFailure(const std::string &program, const Failure &failure, bool json);

} // namespace base

#endif
