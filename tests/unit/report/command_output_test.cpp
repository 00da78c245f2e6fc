// SPDX-License-Identifier: MIT
// Programs of the system, also those that hang, flood or fail.
#include "report/command_output.h"

#include <gtest/gtest.h>

namespace {

using report::outputOf;
using namespace std::chrono_literals;

constexpr std::size_t kMost = 1000;

TEST(ACommand, IsReadToItsEnd) {
    const auto said =
        outputOf({"sh", "-c", "echo out; echo err >&2; cat; echo \"$LC_ALL\""}, kMost, 60s);
    ASSERT_TRUE(said) << said.error().text;
    EXPECT_EQ(*said, "out\nerr\nC\n") << "it reads nothing, and speaks English";
}

TEST(ACommand, IsFoundInTheFoldersOfTheSystemAlone) {
    setenv("PATH", "/nowhere", 1);
    setenv("LD_BIND_NOW", "1", 1);
    const auto said = outputOf({"sh", "-c", "echo $PATH $LD_BIND_NOW"}, kMost, 60s);
    unsetenv("LD_BIND_NOW");
    ASSERT_TRUE(said) << said.error().text;
    EXPECT_EQ(*said, "/usr/sbin:/usr/bin:/sbin:/bin\n");
    EXPECT_EQ(outputOf({"ota-no-such-program"}, kMost, 60s).error().text,
              "ota-no-such-program is not installed");
}

TEST(ACommand, ThatFailsIsAnErrorOnlyWhereItSaysNothing) {
    EXPECT_EQ(outputOf({"false"}, kMost, 60s).error().text, "false failed and printed nothing");
    EXPECT_EQ(*outputOf({"sh", "-c", "echo why; exit 1"}, kMost, 60s), "why\n");
}

TEST(ACommand, ThatHangsOrFloodsIsEndedWithItsChildren) {
    const auto began = std::chrono::steady_clock::now();
    EXPECT_FALSE(outputOf({"sh", "-c", "sleep 1000 & wait"}, kMost, 1s));
    EXPECT_FALSE(outputOf({"yes"}, kMost, 1000s));
    EXPECT_LT(std::chrono::steady_clock::now() - began, 500s);
}

} // namespace
