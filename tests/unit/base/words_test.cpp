// SPDX-License-Identifier: MIT
// Words that are near, and words from outside.
#include "base/nearest.h"
#include "base/quoted.h"

#include <gtest/gtest.h>

namespace base {
namespace {

TEST(Nearest, IsNearAndNotJustTheLeastFar) {
    const std::vector<std::string> known{"status", "set", "sign"};
    EXPECT_EQ(base::nearest("sttus", known), "status");
    EXPECT_EQ(base::nearest("sgin", known), "sign");
    EXPECT_EQ(base::nearest("x", known), "");
    EXPECT_EQ(base::nearest("", known), "");
    EXPECT_EQ(base::nearest("completely", known), "");
    EXPECT_EQ(base::nearest(std::string(100'000, 's'), known), "");
}

TEST(Spelled, IsOneShortLine) {
    EXPECT_EQ(base::plain("a\"b\\\033\n\xff"), "a\"b\\\\x1B\\x0A\\xFF");
    EXPECT_EQ(base::quoted("a\"b\\\n"), "\"a\\x22b\\x5C\\x0A\"");
    EXPECT_EQ(base::quoted(std::string(61, 'x')), "\"" + std::string(60, 'x') + "\"...");
}

} // namespace
} // namespace base
