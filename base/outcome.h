// SPDX-License-Identifier: MIT
// What can come of a request: one table for the code, the bus error and the words.
#ifndef BASE_OUTCOME_H
#define BASE_OUTCOME_H

#include <span>
#include <string>
#include <string_view>

namespace base {

enum class Outcome {
#define OUTCOME(enumerator, code, name, busLeaf, meaning, remedy) enumerator = (code),
#include "base/outcome.def"
#undef OUTCOME
};

struct OutcomeRow {
    Outcome outcome;
    int code;             // also the exit code of otactl; 0 to 127
    const char *name;     // as in the history and in requestFinished
    const char *busError; // "velmo.otaSwAgent.Error.<Leaf>", or empty: never an error of a call
    const char *meaning;  // half a sentence, without a full stop
    const char *remedy;   // what a person can do about it, likewise
};

/* Every row, in the order of the codes. */
std::span<const OutcomeRow> outcomes();

/* Every enumerator has a row. */
const OutcomeRow &rowOf(Outcome outcome);

/* The row, or null. An empty bus error has none. */
const OutcomeRow *rowOfCode(int code);
const OutcomeRow *rowOfBusError(std::string_view busError);

/* The table of docs/codes.md, from its head to its last row, a line end behind each. */
std::string outcomesAsMarkdown();

} // namespace base

#endif
