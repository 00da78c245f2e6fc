// SPDX-License-Identifier: MIT
// The table of outcomes: consistent in itself.
#include "base/outcome.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace base;

namespace {

constexpr std::string_view kErrorPrefix = "velmo.otaSwAgent.Error.";

TEST(Outcomes, HaveCodesInOrderThatAnExitStatusHolds) {
    int last = -1;
    for (const OutcomeRow &row : outcomes()) {
        EXPECT_GT(row.code, last) << row.name;
        EXPECT_LT(row.code, 126) << row.name; // a shell gives the ones above a meaning
        EXPECT_EQ(row.code, static_cast<int>(row.outcome)) << row.name;
        last = row.code;
    }
}

TEST(Outcomes, AreFoundByOutcomeByCodeAndByBusError) {
    for (const OutcomeRow &row : outcomes()) {
        EXPECT_EQ(&rowOf(row.outcome), &row);
        EXPECT_EQ(rowOfCode(row.code), &row);
        EXPECT_EQ(rowOfBusError(row.busError), *row.busError == '\0' ? nullptr : &row);
    }
    EXPECT_EQ(rowOfCode(-1), nullptr);
    EXPECT_EQ(rowOfCode(10), nullptr);
    EXPECT_EQ(rowOfCode(255), nullptr);
    EXPECT_EQ(rowOfBusError("velmo.otaSwAgent.Error."), nullptr);
    EXPECT_EQ(rowOfBusError("org.freedesktop.DBus.Error.AccessDenied"), nullptr);
}

TEST(Outcomes, AreNamedAsInTheCode) {
#define OUTCOME(enumerator, code, text, busLeaf, meaning, remedy)                                  \
    EXPECT_STREQ(rowOf(Outcome::enumerator).name, #enumerator);
#include "base/outcome.def"
#undef OUTCOME
}

TEST(Outcomes, HaveBusErrorsThatAreTheirNamesWithACapital) {
    std::set<std::string> seen;
    for (const OutcomeRow &row : outcomes()) {
        const std::string error = row.busError;
        if (error.empty()) {
            continue;
        }
        std::string leaf = row.name;
        leaf.front() = static_cast<char>(leaf.front() - 'a' + 'A');
        EXPECT_EQ(error, std::string(kErrorPrefix) + leaf);
        EXPECT_TRUE(seen.insert(error).second);
    }
    for (int code = 20; code <= 40; ++code) {
        ASSERT_NE(rowOfCode(code), nullptr) << code;
        EXPECT_STRNE(rowOfCode(code)->busError, "") << code; // every refusal has one
    }
}

TEST(Outcomes, SayWhatTheyMeanAndWhatToDoInOneLineOfTheTable) {
    for (const OutcomeRow &row : outcomes()) {
        for (const std::string text : {row.meaning, row.remedy}) {
            EXPECT_FALSE(text.empty()) << row.name;
            EXPECT_EQ(text.find_first_of("|\n"), std::string::npos) << row.name;
            EXPECT_NE(text.back(), '.') << row.name;
        }
    }
}

} // namespace
