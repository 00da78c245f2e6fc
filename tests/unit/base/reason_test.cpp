// SPDX-License-Identifier: MIT
// The table of reasons: consistent in itself and with the outcomes.
#include "base/reason.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

using namespace base;

namespace {

TEST(Reasons, AreFoundByReasonAndByName) {
    for (const ReasonRow &row : reasons()) {
        EXPECT_EQ(&rowOf(row.reason), &row) << row.name;
        EXPECT_EQ(rowOfReason(row.name), &row) << row.name;
    }
    EXPECT_EQ(rowOfReason(""), nullptr);
    EXPECT_EQ(rowOfReason("Not-Signed"), nullptr);
}

TEST(Reasons, HaveNamesOfLowerCaseWordsThatNoOutcomeHas) {
    std::set<std::string> seen;
    for (const ReasonRow &row : reasons()) {
        const std::string name = row.name;
        EXPECT_TRUE(seen.insert(name).second) << name;
        EXPECT_TRUE(std::all_of(name.begin(), name.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || c == '-';
        })) << name;
        EXPECT_TRUE(std::none_of(outcomes().begin(), outcomes().end(), [&](const OutcomeRow &one) {
            return name == one.name && row.reason != Reason::none;
        })) << name;
    }
}

TEST(Reasons, SayWhatTheyMeanAndWhatToDoInOneLineOfTheTable) {
    for (const ReasonRow &row : reasons()) {
        for (const std::string text : {row.meaning, row.remedy}) {
            EXPECT_FALSE(text.empty()) << row.name;
            EXPECT_EQ(text.find_first_of("|\n"), std::string::npos) << row.name;
            EXPECT_NE(text.back(), '.') << row.name;
        }
    }
}

// A reason that nothing tells is a promise to those who wait for it.
TEST(Reasons, AreEachNamedByTheCodeThatMeetsThem) {
    const std::array enumerators{
#define REASON(enumerator, name, outcome, meaning, remedy) #enumerator,
#include "base/reason.def"
#undef REASON
    };
    std::set<std::string> named;
    const std::regex use("Reason::([A-Za-z]+)");
    for (const char *const room : {"/base", "/node", "/platform", "/host", "/guard", "/service"}) {
        for (const auto &file :
             std::filesystem::recursive_directory_iterator(std::string(OTA_SOURCES) + room)) {
            if (file.path().extension() != ".cpp") {
                continue;
            }
            std::ostringstream content;
            content << std::ifstream(file.path()).rdbuf();
            const std::string text = content.str();
            for (std::sregex_iterator at(text.begin(), text.end(), use), end; at != end; ++at) {
                named.insert((*at)[1]);
            }
        }
    }
    ASSERT_EQ(enumerators.size(), reasons().size());
    for (const char *const enumerator : enumerators) {
        EXPECT_TRUE(named.contains(enumerator)) << enumerator;
    }
}

TEST(Reasons, ExplainEveryOutcomeThatIsAFailureOfATicket) {
    for (const OutcomeRow &outcome : outcomes()) {
        const bool failure = outcome.code >= static_cast<int>(Outcome::checksumFailed) &&
                             outcome.code <= static_cast<int>(Outcome::commitFailed);
        EXPECT_TRUE(!failure || std::any_of(reasons().begin(), reasons().end(),
                                            [&](const ReasonRow &row) {
                                                return row.outcome == outcome.outcome;
                                            }))
            << outcome.name;
    }
}

} // namespace
