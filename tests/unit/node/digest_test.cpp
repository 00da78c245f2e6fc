// SPDX-License-Identifier: MIT
// A sum over bytes that arrive in pieces.
#include "node/digest.h"

#include <gtest/gtest.h>

namespace {

using node::sha256Of;

TEST(Sha256, TellsTheSumSoFarAndGoesOn) {
    node::Sha256 sum;
    EXPECT_EQ(sum.textSoFar(), sha256Of(""));
    sum.add("ab", 2);
    EXPECT_EQ(sum.textSoFar(), sha256Of("ab"));
    sum.add("c", 1);
    EXPECT_EQ(sum.textSoFar(), sha256Of("abc"));
    EXPECT_EQ(sum.text(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

} // namespace
