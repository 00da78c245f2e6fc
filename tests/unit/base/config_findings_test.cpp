// SPDX-License-Identifier: MIT
// What was found in a configuration, told from process to process.
#include "base/config_findings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ConfigFindings, ComeBackAsTheyWereTold) {
    const base::ConfigFindings told{{"a", "b"}, {"c"}, {"d\"e"}};
    const base::ConfigFindings taken =
        base::findingsIn(base::parseObject(base::printed(base::findingsAsJson(told).get())).get());
    EXPECT_THAT(taken.mistakes, ElementsAre("a", "b"));
    EXPECT_THAT(taken.obstacles, ElementsAre("c"));
    EXPECT_THAT(taken.warnings, ElementsAre("d\"e"));
}

TEST(ConfigFindings, AreNoneWhereNothingIsTold) {
    const base::ConfigFindings taken = base::findingsIn(base::parseObject("{}").get());
    EXPECT_THAT(taken.mistakes, IsEmpty());
    EXPECT_THAT(taken.obstacles, IsEmpty());
    EXPECT_THAT(taken.warnings, IsEmpty());
}

} // namespace
