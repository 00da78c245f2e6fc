// SPDX-License-Identifier: MIT
// A failure that a person meets, told in one line.
#include "cli/failure.h"

#include "cli/json_output.h"
#include "cli/printable.h"

#include <cstdio>
#include <string_view>

namespace cli {

int tellFailure(const Failure &failure, bool json) {
    const base::OutcomeRow &row = base::rowOf(failure.outcome());
    if (json) {
        const base::Json answer = outcomeAsJson(row, failure.what());
        printJson(answer.get());
    }
    const bool hasRemedy = std::string_view(row.remedy) != "nothing";
    std::fprintf(stderr, "otactl: %s%s%s\n", printable(failure.what()).c_str(),
                 hasRemedy ? "; " : "", hasRemedy ? row.remedy : "");
    return row.code;
}

} // namespace cli
