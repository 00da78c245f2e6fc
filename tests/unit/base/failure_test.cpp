// SPDX-License-Identifier: MIT
// A failure is its exit code and one line, and an object for programs.
#include "base/failure.h"

#include <gtest/gtest.h>

namespace base {
namespace {

TEST(Failures, AreToldInOneLineWithTheirAdvice) {
    const Failure failure(Outcome::configWrong, "a\nb", "mend it");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    EXPECT_EQ(tellFailure("tool", failure, true), static_cast<int>(Outcome::configWrong));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tool: a\\x0ab; mend it\n");
    const Json object = parsed(testing::internal::GetCapturedStdout());
    EXPECT_EQ(textOf(object.get(), "result"), rowOf(Outcome::configWrong).name);
    EXPECT_EQ(textOf(object.get(), "reason"), "a\nb");
}

TEST(Failures, HaveTheAdviceOfTheTableWhereNoOtherIsGiven) {
    EXPECT_EQ(Failure(Outcome::configWrong, "x").advice(), rowOf(Outcome::configWrong).remedy);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    tellFailure("tool", Failure(Outcome::done, "x", "nothing"), false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "tool: x\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

} // namespace
} // namespace base
