// SPDX-License-Identifier: MIT
// What the reference platform finds in a configuration, beside what the service's reading shows.
#include "fixture.h"
#include "node/config_check.h"

#include <gmock/gmock.h>

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PlatformFindings : public OnANode {
  protected:
    base::ConfigFindings foundIn(const std::string &text) {
        writeText(configPath_, text);
        return node::platformFindings(configPath_);
    }
};

TEST_F(PlatformFindings, AreNoneInAGoodConfiguration) {
    const auto found = foundIn(configWith("", ""));
    EXPECT_THAT(found.mistakes, IsEmpty());
    EXPECT_THAT(found.obstacles, IsEmpty());
    EXPECT_THAT(found.warnings, IsEmpty());
}

TEST_F(PlatformFindings, AreMistakesWhereABankIsNotThere) {
    const auto found = foundIn(configWith("a", "a = " + in("none")));
    EXPECT_THAT(found.mistakes, ElementsAre(HasSubstr("[banks] a ")));
    EXPECT_THAT(found.obstacles, IsEmpty());
}

TEST_F(PlatformFindings, AreObstaclesWhereTheServiceStartsAllTheSame) {
    writeText(statePath_, "garbage");
    const auto found = foundIn(configWith("", ""));
    EXPECT_THAT(found.mistakes, IsEmpty());
    EXPECT_THAT(found.obstacles, ElementsAre(HasSubstr("[banks] boot_state names what the node")));
}

// Else every mistake would be told twice.
TEST_F(PlatformFindings, AreNotWhatTheServiceFindsItself) {
    EXPECT_THAT(foundIn(configWith("onboarding", "onboarding = maybe")).mistakes, IsEmpty());
    EXPECT_THAT(foundIn(configWith("size", "size = 0")).mistakes, IsEmpty());
}

// The service leaves it to the platform that it names, which may be the reference under its name.
TEST_F(PlatformFindings, AreTheBanksThatTheServiceDidNotAskFor) {
    writeText(in("platform.so"), "");
    const auto found =
        foundIn(configWith("size", "") + "\n[service]\nplatform = " + in("platform.so") + "\n");
    EXPECT_THAT(found.mistakes, Each(HasSubstr("[banks] size is missing")));
    EXPECT_FALSE(found.mistakes.empty());
}

} // namespace
