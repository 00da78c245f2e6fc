// SPDX-License-Identifier: MIT
#include "base/reason.h"

#include <algorithm>
#include <cstddef>

namespace base {
namespace {

constexpr ReasonRow kReasons[] = {
#define REASON(enumerator, name, outcome, meaning, remedy)                                         \
    {Reason::enumerator, Outcome::outcome, name, meaning, remedy},
#include "base/reason.def"
#undef REASON
};

} // namespace

std::span<const ReasonRow> reasons() { return kReasons; }

const ReasonRow &rowOf(Reason reason) { return reasons()[static_cast<std::size_t>(reason)]; }

Reason usualReason(Outcome outcome) {
    const auto explains = [&](const ReasonRow &row) { return row.outcome == outcome; };
    if (outcome == Outcome::interruptedNothingKnown) {
        return Reason::noWord;
    }
    const auto *const found = std::find_if(std::begin(kReasons), std::end(kReasons), explains);
    return std::count_if(std::begin(kReasons), std::end(kReasons), explains) == 1 ? found->reason
                                                                                  : Reason::none;
}

const ReasonRow *rowOfReason(std::string_view name) {
    const auto *const found = std::find_if(std::begin(kReasons), std::end(kReasons),
                                           [&](const ReasonRow &row) { return name == row.name; });
    return found == std::end(kReasons) ? nullptr : found;
}

std::string reasonsAsMarkdown() {
    std::string table = "| Reason | Outcome | It means | What to do |\n|---|---|---|---|\n";
    for (const ReasonRow &row : kReasons) {
        const OutcomeRow &outcome = rowOf(row.outcome);
        table += std::string("| `") + row.name + "` | " + std::to_string(outcome.code) + " `" +
                 outcome.name + "` | " + row.meaning + " | " + row.remedy + " |\n";
    }
    return table;
}

} // namespace base
