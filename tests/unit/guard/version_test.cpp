// SPDX-License-Identifier: MIT
// How long a version may be.
#include "guard/version.h"

#include <gtest/gtest.h>

#include <string>

using namespace guard;

namespace {

TEST(LongestVersion, IsWhatTheMarkersCommandHasRoomFor) {
    // "echo " + version + " > " + path in 63 characters.
    EXPECT_EQ(longestVersion(std::string(30, 'p')), 25U);
    EXPECT_EQ(longestVersion(std::string(26, 'p')), 29U);
    EXPECT_EQ(longestVersion(std::string(54, 'p')), 1U);
    EXPECT_EQ(longestVersion(std::string(55, 'p')), 0U);
    EXPECT_EQ(longestVersion(std::string(5000, 'p')), 0U);
}

TEST(LongestVersion, IsNeverMoreThanTheAgentReadsBackInOnePiece) {
    EXPECT_EQ(longestVersion(""), 30U);
    EXPECT_EQ(longestVersion("/var/logs/ota_act_success"), 30U);
    EXPECT_EQ(longestVersion("/var/log/ota/ota_act_success"), 27U); // the example's
    EXPECT_EQ(longestVersion(std::string(25, 'p')), 30U);
}

} // namespace
