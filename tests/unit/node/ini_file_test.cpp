// SPDX-License-Identifier: MIT
// Wrong lines of an INI text are named one by one, and what stands behind them is read.
#include "node/config/ini_file.h"

#include <gtest/gtest.h>

namespace node {
namespace {

using namespace std::string_literals;

std::vector<std::string> mistakesIn(const std::string &text) {
    std::vector<std::string> mistakes;
    parseIni("f", text, mistakes);
    return mistakes;
}

TEST(IniFile, GivesEachValueWithItsLine) {
    const auto entries =
        parseIni("f", "; a comment\n[a]\nx = 1 \n# another\n[b]\nx=two words ; \n");
    ASSERT_TRUE(entries);
    ASSERT_EQ(entries->size(), 2U);
    EXPECT_EQ(findEntry(*entries, "a", "x")->value, "1");
    EXPECT_EQ(findEntry(*entries, "b", "x")->line, 6);
    EXPECT_EQ(findEntry(*entries, "a", "y"), nullptr);
}

TEST(IniFile, NamesTheLineThatIsWrongAndWhatIsWrongWithIt) {
    const std::pair<std::string, std::string> lines[] = {
        {" b = 4QZ1",
         "the line begins with a blank, so it continues the one above; begin it with its key"},
        {"# " + std::string(300, 'x'),
         "the line is too long: it has 302 characters, at most 199 are read; shorten it"},
        {"b = 4QZ\0001"s, "holds bytes that are no text in UTF-8; write the line anew"},
        {"b = 4QZ\xfc", "holds bytes that are no text in UTF-8; write the line anew"},
        {"words", "expected \"[section]\", \"key = value\" or a comment that begins with \"#\""},
        {"a = 4", "[s] a is given a second time; remove one"},
    };
    for (const auto &[line, complaint] : lines) {
        std::vector<std::string> mistakes;
        const auto entries = parseIni("f", "[s]\na = 3\n" + line + "\nc = 5\n", mistakes);
        EXPECT_EQ(mistakes, std::vector{"f:3: " + complaint});
        const IniEntry *const behind = findEntry(entries, "s", "c");
        ASSERT_NE(behind, nullptr) << line;
        EXPECT_EQ(behind->value, "5");
        EXPECT_EQ(parseIni("f", "[s]\na = 3\n" + line + "\n").error().text, "f:3: " + complaint);
    }
    EXPECT_EQ(mistakesIn("model = M\n[node]\n"),
              std::vector{
                  "f:1: model stands before any section; put its section above it, like [node]"s});
}

TEST(IniFile, EndsItsListOfWrongLinesAfterTwenty) {
    std::string words, twice;
    for (int i = 0; i < 5000; ++i) {
        words += "words\n";
        twice += "a = 1\n";
    }
    const std::vector<std::string> mistakes = mistakesIn(words);
    ASSERT_EQ(mistakes.size(), 20U);
    EXPECT_EQ(mistakes[19].find("f:20: expected"), 0U) << mistakes[19];
    const std::vector<std::string> repeated = mistakesIn("[s]\n" + twice);
    ASSERT_EQ(repeated.size(), 21U);
    EXPECT_EQ(repeated[20], "f: and 4979 more lines that are wrong");
}

} // namespace
} // namespace node
