// SPDX-License-Identifier: MIT
// What the agent's status words mean.
#include "base/word.h"

#include <gtest/gtest.h>

namespace {

TEST(StatusWords, AreFoundByTheirWholeName) {
    const base::WordRow *const row = base::rowOfWord("OTA_SW_COMMIT_COMPLETE");
    ASSERT_NE(row, nullptr);
    EXPECT_STREQ(row->word, "OTA_SW_COMMIT_COMPLETE");
    EXPECT_EQ(base::rowOfWord("OTA_SW_COMMIT"), nullptr);
    EXPECT_EQ(base::rowOfWord(""), nullptr);
}

TEST(StatusWords, SayWhatTheyMeanAndWhatToDo) {
    for (const base::WordRow &row : base::statusWords()) {
        EXPECT_EQ(base::rowOfWord(row.word), &row) << row.word << " stands there twice";
        for (const std::string text : {row.meaning, row.remedy}) {
            EXPECT_FALSE(text.empty() || text.ends_with('.')) << row.word << ": " << text;
            EXPECT_EQ(text.find_first_of("|\n"), std::string::npos) << row.word;
        }
    }
}

} // namespace
