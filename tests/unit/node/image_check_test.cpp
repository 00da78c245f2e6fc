// SPDX-License-Identifier: MIT
// Which images are for this node.
#include "node/image_check.h"

#include "tests/support/results.h"

#include <gtest/gtest.h>

namespace {

class ForThisNode : public testing::Test {
  protected:
    ForThisNode() { config_.model = "GW-1000"; }

    bool isFor(const std::string &version, const std::string &path = "/tmp/image") {
        wrong_.clear();
        manifest_.version = version;
        const auto isFor = node::imageIsForThisNode(path, manifest_, offered_, config_, state_);
        reason_ = isFor ? base::Reason::none : isFor.error().reason;
        return succeeds(isFor, wrong_);
    }
    bool isRefused(const std::string &version, const std::string &reason,
                   const std::string &path = "/tmp/image") {
        const bool taken = isFor(version, path);
        EXPECT_EQ(wrong_.find(path + ": the image is "), 0U) << wrong_;
        EXPECT_NE(wrong_.find(reason), std::string::npos) << wrong_;
        return !taken;
    }

    base::Reason reason() const { return reason_; }

    node::Config config_;
    node::BootState state_;
    node::ImageManifest manifest_{"4QZ2.0.0", "GW-1000", 1, std::string(64, '0')};
    std::string offered_; // empty: nobody knows
    std::string wrong_;
    base::Reason reason_ = base::Reason::none;
};

TEST_F(ForThisNode, IsAnImageOfItsModelOnly) {
    EXPECT_TRUE(isFor("4QZ2.0.0")) << wrong_;
    manifest_.model = "GW-1001";
    EXPECT_EQ(reason(), base::Reason::none);
    EXPECT_TRUE(isRefused("4QZ2.0.0", "for model GW-1001, this node is a GW-1000"));
    EXPECT_EQ(reason(), base::Reason::wrongModel);
}

TEST_F(ForThisNode, IsTheOfferedVersionToItsLastCharacter) {
    offered_ = "4QZ2.0.0-build9";
    EXPECT_TRUE(isFor("4QZ2.0.0-build9", "/tmp/4QZ2.0.0-build")) << wrong_;
    EXPECT_TRUE(isRefused("4QZ2.0.0-build1", "which is not the one that was offered",
                          "/tmp/4QZ2.0.0-build"));
    EXPECT_EQ(reason(), base::Reason::wrongVersion);
}

// The agent names the file after the offered version, in at most 14 characters.
TEST_F(ForThisNode, IsAnImageOfTheVersionThatItsFileWasNamedAfter) {
    EXPECT_TRUE(isFor("4QZ2.0.0", "/tmp/4QZ2.0.0")) << wrong_;
    EXPECT_TRUE(isFor("4QZ2.0.0", "4QZ2.0.0")) << wrong_;
    EXPECT_TRUE(isFor("4QZ2.0.0-release-7", "/tmp/4QZ2.0.0-relea")) << wrong_;
    EXPECT_TRUE(isFor("4QZ2.0.0-release-7", "/tmp/4QZ2.0.0-release-7")) << wrong_;
    EXPECT_TRUE(isFor("1.0", "/4QZ9/image")) << wrong_;
    for (const char *other : {"4QZ2.0.1", "4QZ2.0", "4QZ2.0.0.1", "2.0.0"}) {
        EXPECT_TRUE(isRefused(other, "is not the one that was offered", "/tmp/4QZ2.0.0"));
    }
    EXPECT_TRUE(isRefused("4QZ2.0.0-retail-7", "is not the one", "/tmp/4QZ2.0.0-relea"));
}

TEST_F(ForThisNode, IsNoVersionUnderTheFloor) {
    config_.lowestVersion = "4QZ2.9";
    EXPECT_TRUE(isRefused("4QZ2.8.9", "the lowest that this node takes is 4QZ2.9"));
    EXPECT_TRUE(isFor("4QZ2.9")) << wrong_;
    EXPECT_TRUE(isFor("4QZ2.10")) << wrong_;
}

TEST_F(ForThisNode, IsNoVersionThatFailedItsTrial) {
    node::rememberFailure(state_, "4QZ2.0.0", node::TrialFailure::health);
    EXPECT_TRUE(isRefused("4QZ2.0.0", "failed its trial on this node"));
    EXPECT_NE(wrong_.find("otactl forget 4QZ2.0.0"), std::string::npos) << wrong_;
    EXPECT_TRUE(isFor("4QZ2.0.1")) << wrong_;
    config_.refuseAfterTrials = 2;
    EXPECT_TRUE(isFor("4QZ2.0.0")) << wrong_;
}

TEST_F(ForThisNode, IsTrustedAsItsConfigurationSays) {
    config_.signerAuthority = "ca.pem";
    EXPECT_TRUE(node::trustOf(config_).signatureRequired);
    EXPECT_EQ(node::trustOf(config_).authority, "ca.pem");
    config_.signatureRequired = false;
    EXPECT_FALSE(node::trustOf(config_).signatureRequired);
}

} // namespace
