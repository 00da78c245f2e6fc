// SPDX-License-Identifier: MIT
#include "base/result.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

using base::Error, base::Reason, base::Result;

Result<std::string> textIf(bool works) {
    if (!works) {
        return Error{"no text; give one", Reason::notSigned};
    }
    return std::string("text");
}

Result<int> sizeOf(bool works) {
    const auto text = textIf(works);
    if (!text) {
        return text.error();
    }
    return static_cast<int>(text->size());
}

TEST(Result, HoldsTheValueOrTheError) {
    const auto four = sizeOf(true);
    ASSERT_TRUE(four);
    EXPECT_EQ(*four, 4);
    const auto none = sizeOf(false);
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error().text, "no text; give one");
    EXPECT_EQ(none.error().reason, Reason::notSigned);
    EXPECT_EQ(none.error().outcome(), base::rowOf(Reason::notSigned).outcome);
}

TEST(Result, MovesWhatCannotBeCopied) {
    Result<std::unique_ptr<int>> made = std::make_unique<int>(7);
    const std::unique_ptr<int> taken = std::move(*std::move(made).orBecause(Reason::notSigned));
    EXPECT_EQ(*taken, 7);
}

TEST(Result, KeepsTheDeeperReason) {
    EXPECT_EQ(textIf(false).orBecause(Reason::bankInUse).error().reason, Reason::notSigned);
    const Result<void> plain = Error{"it failed"};
    EXPECT_EQ(plain.error().reason, Reason::none);
    EXPECT_EQ(Result<void>(plain).orBecause(Reason::bankInUse).error().reason, Reason::bankInUse);
    EXPECT_TRUE(Result<void>().orBecause(Reason::bankInUse));
    EXPECT_TRUE(textIf(true).orBecause(Reason::bankInUse));
}

TEST(Result, PutsMoreTextAroundTheLineAndKeepsTheReason) {
    const Error error = textIf(false).error().within("image: ", " (in vain)");
    EXPECT_EQ(error.text, "image: no text; give one (in vain)");
    EXPECT_EQ(error.reason, Reason::notSigned);
}

TEST(Result, GoesOnOnlyWhereTheStepBeforeSucceeded) {
    int steps = 0;
    const auto step = [&]() -> Result<void> {
        ++steps;
        return {};
    };
    const auto fail = []() -> Result<void> { return Error{"it failed"}; };
    EXPECT_TRUE(step().andThen(step));
    EXPECT_EQ(steps, 2);
    EXPECT_EQ(fail().andThen(step).error().text, "it failed");
    EXPECT_EQ(steps, 2);
    EXPECT_FALSE(step().andThen(fail));
}

} // namespace
