// SPDX-License-Identifier: MIT
// A failure that a person meets: what went wrong, and which outcome of the table it is.
#ifndef CLI_FAILURE_H
#define CLI_FAILURE_H

#include "base/outcome.h"

#include <stdexcept>
#include <string>

namespace cli {

class Failure : public std::runtime_error {
  public:
    Failure(base::Outcome outcome, const std::string &what)
        : std::runtime_error(what), outcome_(outcome) {}

    [[nodiscard]] base::Outcome outcome() const { return outcome_; }

  private:
    base::Outcome outcome_;
};

/* Tells the failure in one line on standard error: what, and the table's advice; with json also as
 * one object on standard output. Returns the exit code. */
int tellFailure(const Failure &failure, bool json);

} // namespace cli

#endif
