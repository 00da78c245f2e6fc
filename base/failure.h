// SPDX-License-Identifier: MIT
// How a program answers: with an outcome of the table, for a person or for another program.
#ifndef BASE_FAILURE_H
#define BASE_FAILURE_H

#include "base/json.h"
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

/* {"code":..,"result":..,"reason":..} */
Json outcomeAsJson(const OutcomeRow &row, const std::string &reason);

/* {"code":0,"result":"done","reason":""}, to be added to. */
Json success();

} // namespace base

#endif
