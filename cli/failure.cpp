// SPDX-License-Identifier: MIT
// A failure that a person meets, told in one line.
#include "cli/failure.h"

#include "cli/json_output.h"
#include "cli/printable.h"

#include <cstdio>

namespace otactl {

int tellFailure(const Failure &failure, bool json) {
    const host::OutcomeRow &row = host::rowOf(failure.outcome());
    if (json) {
        const host::Json answer = outcomeAsJson(row, failure.what());
        printJson(answer.get());
    }
    std::fprintf(stderr, "otactl: %s; %s\n", printable(failure.what()).c_str(), row.remedy);
    return row.code;
}

} // namespace otactl
