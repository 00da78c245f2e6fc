// SPDX-License-Identifier: MIT
#include "base/failure.h"

#include "base/text.h"

#include <cstdio>

namespace base {

int tellFailure(const std::string &program, const Failure &failure, bool json) {
    const OutcomeRow &row = rowOf(failure.outcome());
    if (json) {
        const Json answer = outcomeAsJson(row, failure.what());
        printJson(answer.get());
    }
    const bool hasRemedy = failure.advice() != "nothing";
    std::fprintf(stderr, "%s: %s%s%s\n", program.c_str(), printable(failure.what()).c_str(),
                 hasRemedy ? "; " : "", hasRemedy ? failure.advice().c_str() : "");
    return row.code;
}

Json outcomeAsJson(const OutcomeRow &row, const std::string &reason) {
    Json object = newObject();
    add(object.get(), "code", row.code);
    add(object.get(), "result", row.name);
    add(object.get(), "reason", reason);
    return object;
}

Json success() { return outcomeAsJson(rowOf(Outcome::done), ""); }

} // namespace base
