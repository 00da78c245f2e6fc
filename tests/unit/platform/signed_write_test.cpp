// SPDX-License-Identifier: MIT
// A node writes what it trusts, and touches nothing for anything else.
#include "fixture.h"
#include "node/digest.h"
#include "node/image_manifest.h"
#include "platform/hooks.h"
#include "platform/nal.h"
#include "signers.h"
#include "tests/support/results.h"

namespace {

std::string told; // why the last write failed

class WritingASignedImage : public OnANode {
  protected:
    void start(const std::string &images) {
        writeText(in("root.pem"), pemOf(root_.certificate.get()));
        writeText(configPath_, configWith("signature", images));
        open();
        nalOnReason([](const base::Error &error) {
            told = std::string(base::rowOf(error.reason).name) + ": " + error.text;
        });
    }
    ~WritingASignedImage() override { nalOnReason(nullptr); }
    void makeImage(const Identity &root, const std::string &version, const std::string &name) {
        const Identity signer = issue({.name = "Release"}, &root);
        writeText(in("key.pem"), pemOf(signer.key.get()));
        writeText(in("signer.pem"), pemOf(signer.certificate.get()));
        const std::string payload = payloadOf(300000, 9);
        std::string trailer;
        std::string whatIsWrong;
        ASSERT_TRUE(took(
            node::formatSignedTrailer({version, kModel, payload.size(), node::sha256Of(payload)},
                                      {in("key.pem"), in("signer.pem")}),
            trailer, whatIsWrong))
            << whatIsWrong;
        writeText(in(name), payload + trailer);
    }
    int write(const std::string &name) {
        int result = 0;
        errors_ = errorsOf([&] { result = nal_writePassiveImage(in(name).c_str()); });
        return result;
    }
    void expectUntouched(const std::string &name, const std::string &code,
                         const std::string &reason) {
        const std::string state = readText(statePath_);
        const std::string bank = readText(in("bank_b"));
        EXPECT_NE(write(name), 0);
        EXPECT_NE(errors_.find(reason), std::string::npos) << errors_;
        EXPECT_EQ(told.find(code + ": "), 0U) << told;
        EXPECT_NE(told.find(reason), std::string::npos) << told;
        EXPECT_EQ(readText(statePath_), state);
        EXPECT_EQ(readText(in("bank_b")), bank);
    }

    Identity root_ = authority("Root");
    Identity strange_ = authority("Strange");
    std::string errors_;
};

TEST_F(WritingASignedImage, TakesOneOfItsAuthorityAndNoOther) {
    start("signer_ca = " + in("root.pem"));
    makeImage(root_, "4QZ2.0.0", "4QZ2.0.0");
    EXPECT_EQ(write("4QZ2.0.0"), 0) << errors_;
    EXPECT_EQ(bootState().of(node::Bank::b).version, "4QZ2.0.0");
    EXPECT_EQ(errors_.find("was not checked"), std::string::npos) << errors_;
    makeImage(strange_, "4QZ2.1.0", "strange");
    expectUntouched("strange", "wrong-signer",
                    "its signer (CN = Release) is not of an authority in");
    writeText(in("unsigned"), imageOf(payloadOf(1000), "4QZ2.1.0"));
    expectUntouched("unsigned", "not-signed", "it is not signed");
    makeImage(root_, "4QZ2.1.0", "4QZ2.2.0");
    expectUntouched("4QZ2.2.0", "version-not-as-offered",
                    "of version 4QZ2.1.0, which is not the one that was offered");
}

TEST_F(WritingASignedImage, SaysWhereItDoesNotKnowWhomToTrust) {
    start("signature = optional");
    makeImage(strange_, "4QZ2.0.0", "image");
    EXPECT_EQ(write("image"), 0) << errors_;
    EXPECT_NE(errors_.find("is signed by CN = Release, which was not checked"), std::string::npos)
        << errors_;
}

} // namespace
