// SPDX-License-Identifier: MIT
// Why a request ended as it did: one table for the name that machines read and for the words.
#ifndef BASE_REASON_H
#define BASE_REASON_H

#include "base/outcome.h"

#include <span>
#include <string>
#include <string_view>

namespace base {

enum class Reason {
#define REASON(enumerator, name, outcome, meaning, remedy) enumerator,
#include "base/reason.def"
#undef REASON
};

struct ReasonRow {
    Reason reason;
    Outcome outcome;     // that it explains as a rule; another one may come with it too
    const char *name;    // lower-case words with hyphens
    const char *meaning; // half a sentence, without a full stop
    const char *remedy;  // what a person can do about it, likewise
};

/* Every row, in the order of the enumerators. */
std::span<const ReasonRow> reasons();

/* Every enumerator has a row. */
const ReasonRow &rowOf(Reason reason);

/* The reason of an outcome that has but one; none where several may stand behind it. */
Reason usualReason(Outcome outcome);

/* The row, or null. */
const ReasonRow *rowOfReason(std::string_view name);

/* The second table of docs/codes.md, from its head to its last row, a line end behind each. */
std::string reasonsAsMarkdown();

} // namespace base

#endif
