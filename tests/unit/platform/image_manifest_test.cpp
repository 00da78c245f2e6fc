// SPDX-License-Identifier: MIT
// An image says what it is in its last bytes, and a damaged one is not believed.
#include "platform/nal/image_manifest.h"

#include "fixture.h"
#include "platform/nal/file_io.h"
#include "platform/nal/image_stream.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

class ImageFile : public InTemporaryDirectory {
  protected:
    bool read(const std::string &bytes) {
        writeText(path_, bytes);
        const nal::UniqueFd image(open(path_.c_str(), O_RDONLY));
        return nal::readImageManifest(image.get(), path_, manifest_, size_, wrong_);
    }

    std::string path_ = in("image");
    nal::ImageManifest manifest_;
    std::uint64_t size_ = 0;
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
    EXPECT_EQ(size_, bytes.size());
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
    EXPECT_FALSE(nal::formatImageTrailer({"", kModel, 1, sum}, trailer, wrong_));
    EXPECT_FALSE(nal::formatImageTrailer({"1 0", kModel, 1, sum}, trailer, wrong_));
    EXPECT_FALSE(nal::formatImageTrailer({"1\nsize=9", kModel, 1, sum}, trailer, wrong_));
    EXPECT_FALSE(nal::formatImageTrailer({"1;reboot", kModel, 1, sum}, trailer, wrong_));
    EXPECT_FALSE(nal::formatImageTrailer({"1/2", kModel, 1, sum}, trailer, wrong_));
    EXPECT_FALSE(nal::formatImageTrailer({std::string(32, '1'), kModel, 1, sum}, trailer, wrong_));
    EXPECT_FALSE(nal::formatImageTrailer({"1", std::string(32, 'm'), 1, sum}, trailer, wrong_));
    EXPECT_TRUE(nal::formatImageTrailer({"aZ09._+-" + std::string(23, '1'), kModel, 1, sum},
                                        trailer, wrong_));
}

TEST_F(ImageFile, IsNotRecordedWhereItsPayloadIsDamaged) {
    std::string bytes = imageOf(payloadOf(300000), "1.0");
    nal::BankRecord record;
    writeText(path_, bytes);
    ASSERT_TRUE(nal::recordOfImage(path_, record, wrong_)) << wrong_;
    EXPECT_EQ(record.size, bytes.size());
    bytes[299999] = static_cast<char>(bytes[299999] ^ 1);
    writeText(path_, bytes);
    EXPECT_FALSE(nal::recordOfImage(path_, record, wrong_));
    EXPECT_NE(wrong_.find("the image is damaged"), std::string::npos) << wrong_;
}

} // namespace
