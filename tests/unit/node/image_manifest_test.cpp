// SPDX-License-Identifier: MIT
// An image says what it is in its last bytes; neither a damaged nor a strange one is believed.
#include "node/image_manifest.h"

#include "base/file_io.h"
#include "fixture.h"
#include "node/digest.h"
#include "node/image_stream.h"
#include "signers.h"
#include "tests/support/results.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

class ImageFile : public InTemporaryDirectory {
  protected:
    bool read(const std::string &bytes) {
        writeText(path_, bytes);
        const base::UniqueFd image(open(path_.c_str(), O_RDONLY));
        return took(node::readImageManifest(image.get(), path_, trust_), manifest_, wrong_);
    }

    node::ImageTrust trust_{false};

    std::string path_ = in("image");
    node::ImageManifest manifest_;
    std::string wrong_;
};

TEST_F(ImageFile, SaysItsVersionModelSizeAndSum) {
    const std::string bytes = imageOf("hsqs and so on", "4QZ-2.0.0", "GW 1000");
    ASSERT_TRUE(read(bytes)) << wrong_;
    EXPECT_EQ(manifest_.version, "4QZ-2.0.0");
    EXPECT_EQ(manifest_.model, "GW 1000");
    EXPECT_EQ(manifest_.payloadSize, 14U);
    EXPECT_EQ(manifest_.payloadSha256,
              "87af4a69d85b3b3beeda98ec78be4ed17b3a55db2c236b24b6b943c7d4d7b417");
    EXPECT_EQ(manifest_.imageSize, bytes.size());
}

TEST_F(ImageFile, EndsInTheFooterThatOtherToolsRead) {
    const std::string bytes = imageOf("p", "1", "m");
    const std::string footer = bytes.substr(bytes.size() - 16);
    EXPECT_EQ(footer.substr(0, 8), "OTAMANI1");
    EXPECT_EQ(static_cast<unsigned char>(footer[8]), bytes.size() - 1 - 16);
    EXPECT_EQ(footer.substr(9), std::string(7, '\0'));
    EXPECT_EQ(bytes.substr(1, 24), "version=1\nmodel=m\nsize=1");
}

TEST_F(ImageFile, IsRefusedWhereverItIsCut) {
    const std::string bytes = imageOf(payloadOf(100), "1.0", kModel);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        ASSERT_FALSE(read(bytes.substr(0, size))) << size;
        ASSERT_EQ(wrong_.find(path_ + ": the image cannot be used"), 0U) << wrong_;
    }
}

TEST_F(ImageFile, IsRefusedWhereBytesAreMissingBeforeItsManifest) {
    EXPECT_FALSE(read(imageOf(payloadOf(100), "1.0", kModel).substr(1)));
    EXPECT_NE(wrong_.find("announces 100 bytes of payload, there are 99"), std::string::npos)
        << wrong_;
}

TEST_F(ImageFile, KeepsRoomForLinesThatItDoesNotKnow) {
    std::string bytes = imageOf("payload", "1.0", kModel);
    const std::string line = "signature=abcd\n";
    bytes.insert(bytes.size() - 16, line);
    char &length = bytes[bytes.size() - 8];
    length = static_cast<char>(length + static_cast<char>(line.size()));
    EXPECT_TRUE(read(bytes)) << wrong_;
}

TEST_F(ImageFile, RefusesAManifestThatCannotBeUsed) {
    const std::pair<const char *, const char *> changes[] = {
        {"version=", "Version="}, {"model=", "modal="},           {"size=", "sise="},
        {"sha256=", "sha257="},   {"version=1.0", "version= .0"}, {"OTAMANI1", "OTAMANI2"}};
    for (const auto &[from, to] : changes) {
        std::string bytes = imageOf("payload", "1.0", kModel);
        bytes.replace(bytes.rfind(from), std::string(from).size(), to);
        EXPECT_FALSE(read(bytes)) << to;
    }
}

TEST_F(ImageFile, IsNotMadeWithAVersionOrModelThatNobodyCouldRead) {
    std::string trailer;
    const std::string sum(64, '0');
    EXPECT_FALSE(took(node::formatImageTrailer({"", kModel, 1, sum}), trailer, wrong_));
    EXPECT_FALSE(took(node::formatImageTrailer({"1 0", kModel, 1, sum}), trailer, wrong_));
    EXPECT_FALSE(took(node::formatImageTrailer({"1\nsize=9", kModel, 1, sum}), trailer, wrong_));
    EXPECT_FALSE(took(node::formatImageTrailer({"1;reboot", kModel, 1, sum}), trailer, wrong_));
    EXPECT_FALSE(took(node::formatImageTrailer({"1/2", kModel, 1, sum}), trailer, wrong_));
    EXPECT_FALSE(
        took(node::formatImageTrailer({std::string(31, '1'), kModel, 1, sum}), trailer, wrong_));
    EXPECT_FALSE(
        took(node::formatImageTrailer({"1", std::string(32, 'm'), 1, sum}), trailer, wrong_));
    EXPECT_TRUE(took(node::formatImageTrailer({"aZ09._+-" + std::string(22, '1'), kModel, 1, sum}),
                     trailer, wrong_));
}

TEST_F(ImageFile, IsNotRecordedWhereItsPayloadIsDamaged) {
    std::string bytes = imageOf(payloadOf(300000), "1.0");
    node::BankRecord record;
    writeText(path_, bytes);
    ASSERT_TRUE(took(node::recordOfImage(path_), record, wrong_)) << wrong_;
    EXPECT_EQ(record.size, bytes.size());
    bytes[299999] = static_cast<char>(bytes[299999] ^ 1);
    writeText(path_, bytes);
    EXPECT_FALSE(took(node::recordOfImage(path_), record, wrong_));
    EXPECT_NE(wrong_.find("the image is damaged"), std::string::npos) << wrong_;
}

std::string footerOf(std::size_t length) {
    std::string footer = "OTASIGN1";
    for (int byte = 0; byte < 4; ++byte) {
        footer += static_cast<char>(length >> (8 * byte) & 0xFFU);
    }
    return footer + std::string(4, '\0');
}

class SignedImage : public ImageFile {
  protected:
    SignedImage() {
        writeText(in("root.pem"), pemOf(root_.certificate.get()));
        trust_ = {true, in("root.pem")};
    }
    std::string signedImageOf(const std::string &payload, const Identity &root,
                              const std::string &version = "4QZ2.0.0") {
        const Identity signer = issue({.name = "Release"}, &root);
        writeText(in("key.pem"), pemOf(signer.key.get()));
        writeText(in("signer.pem"), pemOf(signer.certificate.get()));
        std::string trailer;
        EXPECT_TRUE(took(
            node::formatSignedTrailer({version, kModel, payload.size(), node::sha256Of(payload)},
                                      {in("key.pem"), in("signer.pem")}),
            trailer, wrong_))
            << wrong_;
        return payload + trailer;
    }
    bool isRefused(const std::string &bytes, const std::string &reason) {
        const bool taken = read(bytes);
        EXPECT_EQ(wrong_.find(path_ + ": the image cannot be used, " + reason), 0U) << wrong_;
        return !taken;
    }

    Identity root_ = authority("Root");
    Identity strange_ = authority("Strange");
    std::string bytes_ = signedImageOf(payloadOf(100), root_);
};

TEST_F(SignedImage, SaysTheSameAsAnUnsignedOneAndWhoSignedIt) {
    ASSERT_TRUE(read(bytes_)) << wrong_;
    EXPECT_EQ(manifest_.version, "4QZ2.0.0");
    EXPECT_EQ(manifest_.model, kModel);
    EXPECT_EQ(manifest_.payloadSize, 100U);
    EXPECT_EQ(manifest_.payloadSha256, node::sha256Of(payloadOf(100)));
    EXPECT_EQ(manifest_.signer, "CN = Release");
    EXPECT_TRUE(manifest_.signerChecked);
    EXPECT_EQ(manifest_.imageSize, bytes_.size());
}

TEST_F(SignedImage, EndsInTheFooterThatOtherToolsRead) {
    const std::string footer = bytes_.substr(bytes_.size() - 16);
    EXPECT_EQ(footer, footerOf(bytes_.size() - 100 - 16));
    EXPECT_NE(bytes_.find("version=4QZ2.0.0\nmodel=GW-1000\nsize=100\nsha256="), std::string::npos);
}

TEST_F(SignedImage, IsTheOnlyOneWhereASignatureIsRequired) {
    EXPECT_TRUE(isRefused(imageOf(payloadOf(100), "4QZ2.0.0"), "it is not signed"));
    trust_.authority = "";
    EXPECT_TRUE(isRefused(bytes_, "its signature cannot be checked"));
}

TEST_F(SignedImage, IsCheckedAlsoWhereASignatureIsOptional) {
    trust_.signatureRequired = false;
    EXPECT_TRUE(read(imageOf(payloadOf(100), "4QZ2.0.0"))) << wrong_;
    EXPECT_EQ(manifest_.signer, "");
    EXPECT_FALSE(manifest_.signerChecked);
    EXPECT_TRUE(read(bytes_)) << wrong_;
    EXPECT_TRUE(manifest_.signerChecked);
    EXPECT_TRUE(isRefused(signedImageOf(payloadOf(100), strange_),
                          "its signer (CN = Release) is not of an authority"));
}

TEST_F(SignedImage, IsTakenUncheckedWhereNobodySaidWhomToTrust) {
    trust_ = {false};
    ASSERT_TRUE(read(signedImageOf(payloadOf(100), strange_))) << wrong_;
    EXPECT_EQ(manifest_.signer, "CN = Release");
    EXPECT_FALSE(manifest_.signerChecked);
    bytes_[bytes_.find("4QZ2.0.0")] = '5';
    EXPECT_TRUE(isRefused(bytes_, "its signature does not hold"));
}

TEST_F(SignedImage, IsRefusedWhereverAByteOfItsTrailerChanges) {
    std::size_t refused = 0;
    for (std::size_t at = 100; at < bytes_.size(); ++at) {
        for (const char change : {'\x01', '\x80'}) {
            std::string changed = bytes_;
            changed[at] = static_cast<char>(changed[at] ^ change);
            const bool taken = read(changed);
            EXPECT_FALSE(taken) << "byte " << at - 100;
            refused += taken ? 0 : 1;
        }
    }
    EXPECT_EQ(refused, 2 * (bytes_.size() - 100));
    RecordProperty("refused", static_cast<int>(refused));
}

TEST_F(SignedImage, IsRefusedWhereverItIsCut) {
    for (std::size_t size = 0; size < bytes_.size(); ++size) {
        ASSERT_FALSE(read(bytes_.substr(0, size))) << size;
    }
}

TEST_F(SignedImage, LendsItsSignatureToNoOtherPayload) {
    const std::string trailer = bytes_.substr(100);
    EXPECT_TRUE(isRefused(payloadOf(101) + trailer, "its manifest announces 100 bytes"));
    // One of the same size is found out by its digest.
    writeText(path_, payloadOf(100, 2) + trailer);
    node::BankRecord record;
    EXPECT_FALSE(took(node::recordOfImage(path_), record, wrong_));
    EXPECT_NE(wrong_.find("the image is damaged"), std::string::npos) << wrong_;
}

TEST_F(SignedImage, HasATrailerOfBoundedSize) {
    const std::string rest(node::kMaxSignature + 1, '0');
    EXPECT_TRUE(isRefused(rest + footerOf(rest.size()), "it is cut or no image"));
    EXPECT_TRUE(isRefused(rest + footerOf(node::kMaxSignature), "its signature is damaged"));
    EXPECT_TRUE(isRefused(rest + footerOf(0), "it is cut or no image"));
}

TEST_F(SignedImage, HoldsAManifestThatCanBeUsed) {
    // Signed by the right one, and yet no manifest.
    std::string cms;
    const Identity signer = issue({.name = "Release"}, &root_);
    writeText(in("key.pem"), pemOf(signer.key.get()));
    writeText(in("signer.pem"), pemOf(signer.certificate.get()));
    ASSERT_TRUE(
        took(node::signManifest("nothing", {in("key.pem"), in("signer.pem")}), cms, wrong_));
    EXPECT_TRUE(isRefused(cms + footerOf(cms.size()), "its manifest has no usable version"));
}

} // namespace
