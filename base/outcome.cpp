// SPDX-License-Identifier: MIT
#include "base/outcome.h"

#include <algorithm>
#include <cstdlib>

namespace base {
namespace {

// An empty leaf is an empty name.
#define BUS_ERROR(leaf) (sizeof(leaf) == 1 ? "" : "velmo.otaSwAgent.Error." leaf)

constexpr OutcomeRow kOutcomes[] = {
#define OUTCOME(enumerator, code, name, busLeaf, meaning, remedy)                                  \
    {Outcome::enumerator, code, name, BUS_ERROR(busLeaf), meaning, remedy},
#include "base/outcome.def"
#undef OUTCOME
};

const OutcomeRow *find(auto matches) {
    const auto *const found = std::find_if(std::begin(kOutcomes), std::end(kOutcomes), matches);
    return found == std::end(kOutcomes) ? nullptr : found;
}

std::string asCode(const char *text) {
    return *text == '\0' ? std::string() : "`" + std::string(text) + "`";
}

} // namespace

std::span<const OutcomeRow> outcomes() { return kOutcomes; }

const OutcomeRow &rowOf(Outcome outcome) {
    const OutcomeRow *const row = rowOfCode(static_cast<int>(outcome));
    if (row == nullptr) {
        std::abort(); // a number that was cast to an Outcome
    }
    return *row;
}

const OutcomeRow *rowOfCode(int code) {
    return find([code](const OutcomeRow &row) { return row.code == code; });
}

const OutcomeRow *rowOfBusError(std::string_view busError) {
    return busError.empty()
               ? nullptr
               : find([busError](const OutcomeRow &row) { return busError == row.busError; });
}

std::string outcomesAsMarkdown() {
    std::string table =
        "| Code | Name | Bus error | It means | What to do |\n|---|---|---|---|---|\n";
    for (const OutcomeRow &row : kOutcomes) {
        table += "| " + std::to_string(row.code) + " | " + asCode(row.name) + " | " +
                 asCode(row.busError) + " | " + row.meaning + " | " + row.remedy + " |\n";
    }
    return table;
}

} // namespace base
