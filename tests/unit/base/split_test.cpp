// SPDX-License-Identifier: MIT
#include "base/split.h"

#include <gtest/gtest.h>

namespace {

using Pieces = std::vector<std::string>;

TEST(Split, FindsTheWordsBetweenBlanks) {
    EXPECT_EQ(base::wordsOf(" one\ttwo \n three\r\n"), (Pieces{"one", "two", "three"}));
    EXPECT_EQ(base::wordsOf("one"), Pieces{"one"});
    EXPECT_EQ(base::wordsOf(" \n"), Pieces{});
    EXPECT_EQ(base::wordsOf(""), Pieces{});
}

TEST(Split, KeepsEmptyPiecesButForTheOneBehindTheLastSeparator) {
    EXPECT_EQ(base::piecesOf("a,b,,c", ','), (Pieces{"a", "b", "", "c"}));
    EXPECT_EQ(base::piecesOf(",a,", ','), (Pieces{"", "a"}));
    EXPECT_EQ(base::piecesOf("", ','), Pieces{});
}

TEST(Split, FindsTheNamesOfAPath) {
    EXPECT_EQ(base::namesOf("/a//b/./../c/"), (Pieces{"a", "b", "..", "c"}));
    EXPECT_EQ(base::namesOf("a"), Pieces{"a"});
    EXPECT_EQ(base::namesOf("/"), Pieces{});
}

} // namespace
