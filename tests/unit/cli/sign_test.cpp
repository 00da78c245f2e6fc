// SPDX-License-Identifier: MIT
// otactl sign and verify: image files, without a bus.
#include "program.h"

#include "node/digest.h"
#include "node/image_manifest.h"
#include "signers.h"
#include "tests/support/content_of.h"
#include "tests/support/results.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr int kImageRefused = 11;
constexpr int kWrongUse = 2;

void writeTo(const std::string &path, const std::string &text) {
    std::ofstream(path, std::ios::binary) << text;
}

class SignedImages : public testing::Test {
  protected:
    SignedImages() {
        EXPECT_NE(mkdtemp(folder_.data()), nullptr);
        fs::current_path(folder_);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=none", 1);
        node::ImageManifest manifest{"4QZ1.2", "M 1", payload_.size(), sum_};
        std::string trailer;
        std::string whatIsWrong;
        EXPECT_TRUE(took(node::formatImageTrailer(manifest), trailer, whatIsWrong)) << whatIsWrong;
        unsigned_ = payload_ + trailer;
        writeTo("image", unsigned_);
        writeIdentity(root_, "root");
        writeIdentity(release_, "release");
    }
    ~SignedImages() override {
        std::error_code ignored;
        unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
        fs::current_path("/", ignored);
        fs::remove_all(folder_, ignored);
    }

    static void writeIdentity(const Identity &identity, const std::string &name) {
        writeTo(name + ".pem", pemOf(identity.certificate.get()));
        writeTo(name + ".key", pemOf(identity.key.get()));
        fs::permissions(name + ".key", fs::perms::owner_read | fs::perms::owner_write);
    }
    static Ended sign(const std::vector<std::string> &more = {}) {
        std::vector<std::string> words{"sign",        "image",         "--key",
                                       "release.key", "--certificate", "release.pem"};
        words.insert(words.end(), more.begin(), more.end());
        return run(words);
    }
    static Ended verify(const std::string &image = "image") {
        return run({"verify", image, "--ca", "root.pem"});
    }
    static std::size_t files() {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator("."), fs::directory_iterator()));
    }
    void expectRefused(const Ended &ended, int code, const std::string &reason) const {
        EXPECT_EQ(ended.code, code);
        EXPECT_EQ(ended.output, "");
        EXPECT_EQ(ended.errors.find("otactl: "), 0U);
        EXPECT_EQ(ended.errors.find('\n'), ended.errors.size() - 1);
        EXPECT_NE(ended.errors.find(reason), std::string::npos) << ended.errors;
        EXPECT_EQ(files(), files_) << "something was left behind";
    }

    std::string folder_ = testing::TempDir() + "sign-XXXXXX";
    std::string payload_ = std::string(300000, 'p');
    std::string sum_ = node::sha256Of(payload_);
    std::string unsigned_;
    Identity root_ = authority("Root");
    Identity release_ = issue({.name = "Release"}, &root_);
    std::size_t files_ = 5; // image, two keys, two certificates
};

TEST_F(SignedImages, AreSignedInPlaceAndVerified) {
    const std::string report = "file        image\nversion     4QZ1.2\nmodel       M 1\n"
                               "size        300000 bytes\nsha256      " +
                               sum_ + "\nsigner      CN = Release\n";
    const Ended ended = sign();
    EXPECT_EQ(ended.output, report) << ended.errors;
    EXPECT_EQ(ended.code, 0);
    EXPECT_EQ(contentOf("image").substr(0, payload_.size()), payload_);
    EXPECT_EQ(files(), files_);
    EXPECT_EQ(verify().output, report);
    EXPECT_EQ(run({"--json", "verify", "image", "--ca", "root.pem"}).output,
              R"({"code":0,"result":"done","reason":"","file":"image","version":"4QZ1.2",)"
              R"("model":"M 1","size":300000,"sha256":")" +
                  sum_ + "\",\"signer\":\"CN = Release\"}\n");
}

TEST_F(SignedImages, ThatAreMissingAreAMistakeOfTheCommandLineLikeEveryOtherFile) {
    expectRefused(verify("nope"), 2, "nope: cannot be read: No such file or directory");
    expectRefused(run({"verify", "image", "--ca", "nope"}), 2, "nope: cannot be read: ");
    expectRefused(run({"sign", "nope", "--key", "release.key", "--certificate", "release.pem"}), 2,
                  "nope: cannot be read: ");
    expectRefused(run({"sign", "image", "--key", "nope", "--certificate", "release.pem"}), 2,
                  "nope: cannot be read: ");
}

TEST_F(SignedImages, MayBeAnotherFileThatKeepsTheFirstOnesMode) {
    fs::permissions("image", fs::perms::owner_read | fs::perms::group_read);
    EXPECT_EQ(sign({"--output", "signed"}).code, 0);
    EXPECT_EQ(contentOf("image"), unsigned_);
    EXPECT_EQ(verify("signed").code, 0);
    EXPECT_EQ(fs::status("signed").permissions(), fs::perms::owner_read | fs::perms::group_read);
}

TEST_F(SignedImages, AreTheFileThatALinkLeadsTo) {
    fs::create_symlink("image", "link");
    EXPECT_EQ(run({"sign", "link", "--key", "release.key", "--certificate", "release.pem"}).code,
              0);
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(verify().code, 0);
}

TEST_F(SignedImages, AreNotSignedWithAKeyThatOthersMayRead) {
    for (const char *mode : {"0640", "0604"}) {
        ASSERT_EQ(chmod("release.key", static_cast<mode_t>(std::strtoul(mode, nullptr, 8))), 0);
        expectRefused(sign(), 9,
                      std::string("release.key (mode ") + mode +
                          ") is a private key that its group or others may read: chmod "
                          "go-rwx release.key");
    }
    EXPECT_EQ(contentOf("image"), unsigned_);
}

TEST_F(SignedImages, WaitForNoPipe) {
    ASSERT_EQ(mkfifo("pipe", 0600), 0);
    files_ += 1;
    expectRefused(verify("pipe"), kImageRefused, "pipe: is no image file; give one");
    expectRefused(run({"sign", "pipe", "--key", "release.key", "--certificate", "release.pem"}), 1,
                  "pipe: is no image file; give one");
    expectRefused(sign({"--output", "pipe"}), 1, "pipe: is no regular file");
}

TEST_F(SignedImages, CanBeSignedAgainByAnother) {
    const Identity strange = authority("Strange");
    writeIdentity(release_ = issue({.name = "Other"}, &strange), "release");
    ASSERT_EQ(sign().code, 0);
    expectRefused(verify(), kImageRefused, "its signer (CN = Other) is not of an authority in");
    const std::string first = contentOf("image");
    writeIdentity(release_ = issue({.name = "Release"}, &root_), "release");
    ASSERT_EQ(sign().code, 0);
    EXPECT_NE(contentOf("image"), first);
    EXPECT_EQ(verify().code, 0);
}

TEST_F(SignedImages, BringWhatStandsBetweenSignerAndAuthority) {
    const Identity team = authority("Team", &root_);
    writeIdentity(issue({.name = "Release"}, &team), "release");
    ASSERT_EQ(sign({"--output", "without"}).code, 0);
    files_ += 1;
    expectRefused(verify("without"), kImageRefused, "is not of an authority in root.pem");
    writeTo("chain.pem", pemOf(team.certificate.get()));
    ASSERT_EQ(sign({"--chain", "chain.pem"}).code, 0);
    EXPECT_EQ(verify().code, 0);
}

TEST_F(SignedImages, AreRefusedByOneLineAndTheirCode) {
    expectRefused(verify(), kImageRefused, "image: the image cannot be used, it is not signed");
    expectRefused(verify("none"), kWrongUse, "none: cannot be read: No such file or directory");
    ASSERT_EQ(sign().code, 0);
    std::string bytes = contentOf("image");
    bytes[1000] = 'q';
    writeTo("image", bytes);
    expectRefused(verify(), kImageRefused, "image: the image is damaged");
    const Ended json = run({"--json", "verify", "image", "--ca", "root.pem"});
    EXPECT_EQ(json.output.find(R"({"code":11,"result":"imageRefused","reason":"image: )"), 0U);
}

TEST_F(SignedImages, AreNotMadeOfDamagedOnesOrWithAWrongKey) {
    expectRefused(run({"sign", "image", "--key", "root.key", "--certificate", "release.pem"}), 1,
                  "is not of the key root.key");
    EXPECT_EQ(contentOf("image"), unsigned_);
    std::string damaged = unsigned_;
    damaged[1000] = 'q';
    writeTo("image", damaged);
    expectRefused(sign(), 1, "image: the image is damaged");
    EXPECT_EQ(contentOf("image"), damaged);
    writeTo("image", "nothing");
    expectRefused(sign(), 1, "image: the image cannot be used");
}

TEST_F(SignedImages, StayAsTheyWereWhereThereIsNoRoom) {
    const std::string command = "trap '' XFSZ; ulimit -f 100; " OTACTL
                                " sign image --key release.key --certificate release.pem 2>errors";
    const int status = std::system(("sh -c \"" + command + "\"").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_NE(contentOf("errors").find("image: cannot be written: File too large"),
              std::string::npos)
        << contentOf("errors");
    EXPECT_EQ(contentOf("image"), unsigned_);
    EXPECT_EQ(files(), files_ + 1);
}

TEST_F(SignedImages, NeedTheirKeysOnTheCommandLine) {
    EXPECT_EQ(run({"sign", "image"}).code, 2);
    EXPECT_EQ(run({"verify", "image"}).code, 2);
}

} // namespace
