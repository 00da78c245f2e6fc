// SPDX-License-Identifier: MIT
// How a refusal is shown: one printable line, whatever was sent.
#include "hostile_offers.h"

#include "guard/refusal.h"

#include <gtest/gtest.h>

using namespace base;
using namespace guard;

namespace {

TEST(Refusals, ShowFieldAndReason) {
    EXPECT_EQ((Refusal{Outcome::keyMissing, "mac", "is missing"}.text()), "mac: is missing");
}

TEST(Refusals, SpellEveryByteThatCouldBeMisread) {
    EXPECT_EQ(base::quoted("4QZ1.0"), "\"4QZ1.0\"");
    EXPECT_EQ(base::quoted(""), "\"\"");
    EXPECT_EQ(base::quoted("a\"b\\c"), R"("a\x22b\x5Cc")");
    EXPECT_EQ(base::quoted(std::string("\0\n\x1b[2J\x7f\xC3\xA9", 9)),
              R"("\x00\x0A\x1B[2J\x7F\xC3\xA9")");
}

TEST(Refusals, CutATextAfterSixtyCharactersAndNeverInsideOfASpelling) {
    EXPECT_EQ(base::quoted(std::string(60, 'a')), "\"" + std::string(60, 'a') + "\"");
    EXPECT_EQ(base::quoted(std::string(61, 'a')), "\"" + std::string(60, 'a') + "\"...");
    EXPECT_EQ(base::quoted(std::string(58, 'a') + "\n"), "\"" + std::string(58, 'a') + "\"...");
    EXPECT_EQ(base::quoted(std::string(1024 * 1024, '\n')).size(), 65U);
}

TEST(Refusals, AreOneLineEvenWhereTheReasonIsNot) {
    EXPECT_EQ((Refusal{Outcome::failed, "a\nb", "c\r\xFF"}.text()), R"(a\x0Ab: c\x0D\xFF)");
}

} // namespace
