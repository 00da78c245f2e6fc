// SPDX-License-Identifier: MIT
// The boot state comes back as it was written, and remembers which versions failed.
#include "boot_state_fixture.h"

namespace {

TEST_F(BootStateFile, GivesBackWhatWasWritten) {
    node::BootState state;
    ASSERT_TRUE(write(filled())) << wrong_;
    ASSERT_TRUE(read(state)) << wrong_;
    EXPECT_EQ(state.active, node::Bank::b);
    EXPECT_EQ(state.next, node::Bank::a);
    EXPECT_TRUE(state.isOnTrial(node::Bank::a));
    EXPECT_EQ(state.attemptsOf(node::Bank::a), 2);
    EXPECT_EQ(state.attemptsOf(node::Bank::b), 7);
    EXPECT_TRUE(state.of(node::Bank::a).whole);
    EXPECT_EQ(state.of(node::Bank::a).version, "4QZ-2.0.1");
    EXPECT_EQ(state.of(node::Bank::a).size, 5368709120U);
    EXPECT_EQ(state.of(node::Bank::a).sha256, std::string(64, 'a'));
    EXPECT_FALSE(state.of(node::Bank::b).whole);
    ASSERT_EQ(state.failed.size(), 2U);
    EXPECT_EQ(state.failed[1].version, "4QZ-1.8+x");
    EXPECT_EQ(state.failed[1].trials, 12);
    EXPECT_EQ(state.failed[1].last, node::TrialFailure::health);
    EXPECT_TRUE(findings_.none());
}

TEST_F(BootStateFile, TellsThatItIsMissing) {
    node::BootState state;
    EXPECT_FALSE(read(state));
    EXPECT_EQ(wrong_.find(path_ + ": the boot state cannot be read: No such file or directory; "),
              0U)
        << wrong_;
}

TEST_F(BootStateFile, BelievesTheKernelAboutTheRunningBank) {
    ASSERT_TRUE(write(filled()));
    node::BootPlace place(path_);
    place.kernelCommandLine = in("cmdline");
    node::BootState state;
    writeText(in("cmdline"), "console=ttyS0 ota.bank=a quiet\n");
    ASSERT_TRUE(took(node::readBootState(place), state, wrong_)) << wrong_;
    EXPECT_EQ(state.active, node::Bank::a);
    writeText(in("cmdline"), "console=ttyS0 xota.bank=a ota.bank=c\n");
    EXPECT_FALSE(took(node::readBootState(place), state, wrong_));
    EXPECT_EQ(wrong_.find(in("cmdline") + ": does not name the running bank"), 0U) << wrong_;
}

TEST(FailedVersions, AreCountedRefusedAndForgotten) {
    node::BootState state;
    node::rememberFailure(state, "4QZ1", node::TrialFailure::boot);
    EXPECT_TRUE(node::isRefused(state, "4QZ1", 1));
    EXPECT_FALSE(node::isRefused(state, "4QZ1", 2));
    EXPECT_FALSE(node::isRefused(state, "4QZ1", 0)) << "0 refuses none";
    EXPECT_FALSE(node::isRefused(state, "4QZ", 1));
    node::rememberFailure(state, "4QZ2", node::TrialFailure::boot);
    node::rememberFailure(state, "4QZ1", node::TrialFailure::health);
    EXPECT_TRUE(node::isRefused(state, "4QZ1", 2));
    ASSERT_EQ(state.failed.size(), 2U);
    EXPECT_EQ(state.failed.back().version, "4QZ1");
    EXPECT_EQ(state.failed.back().last, node::TrialFailure::health);
    EXPECT_TRUE(node::forgetFailure(state, "4QZ1"));
    EXPECT_FALSE(node::forgetFailure(state, "4QZ1"));
    EXPECT_EQ(node::failedVersion(state, "4QZ1"), nullptr);
    for (int i = 0; i < 20; ++i) {
        node::rememberFailure(state, "v" + std::to_string(i), node::TrialFailure::boot);
    }
    EXPECT_EQ(state.failed.size(), node::kMaxFailed);
    EXPECT_EQ(state.failed.back().version, "v19");
    EXPECT_EQ(node::failedVersion(state, "4QZ2"), nullptr) << "the oldest goes first";
}

TEST_F(BootStateFile, HoldsAsManyFailedVersionsAsAreRemembered) {
    node::BootState state = filled();
    for (std::size_t i = 0; i < node::kMaxFailed; ++i) {
        node::rememberFailure(state, std::string(29, 'v') + std::to_string(10 + i),
                              node::TrialFailure::health);
    }
    ASSERT_TRUE(write(state)) << wrong_;
    ASSERT_TRUE(read(state)) << wrong_;
    EXPECT_EQ(state.failed.size(), node::kMaxFailed);
}

} // namespace
