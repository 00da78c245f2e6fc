// SPDX-License-Identifier: MIT
// Which file of the temporary directory is installed, and where its path is cut.
#include "install_fixture.h"

#include <cerrno>
#include <filesystem>
#include <vector>

using namespace ota::test;

namespace {

using ImageFile = InstallTest;

TEST_F(ImageFile, IsTheLastOneListed) {
    files().listing = {".", "..", "4QZ-new", "other", "4QZ-2.0", "4QZ-old", "zzz"};
    writeFile("4QZ-old", "hello");
    install();
    EXPECT_ENTRIES(lines("Sw Dir name is"),
                   entries(notice("upgrade", kUpgrade, "Sw Dir name is = 4QZ-new"),
                           notice("upgrade", kUpgrade, "Sw Dir name is = 4QZ-2.0"),
                           notice("upgrade", kUpgrade, "Sw Dir name is = 4QZ-old")));
    EXPECT_EQ(writtenPath(), "./4QZ-old");
}

TEST_F(ImageFile, IsTheLastOneListedWhateverItsSizeAndAge) {
    writeFile("4QZ-a", std::string(1000, 'a'));
    writeFile("4QZ-b", "b");
    for (const auto &order :
         {std::vector<std::string>{"4QZ-a", "4QZ-b"}, std::vector<std::string>{"4QZ-b", "4QZ-a"}}) {
        journal().clear();
        files().listing = order;
        install();
        EXPECT_EQ(writtenPath(), "./" + order.back());
    }
}

TEST_F(ImageFile, ReplacesALongerNameWhole) {
    files().listing = {"4QZ-a-very-long-name", "4QZ-2.0"};
    install();
    EXPECT_EQ(writtenPath(), "./4QZ-2.0");
}

TEST_F(ImageFile, MayBeCalledByThePrefixAlone) {
    files().listing = {"4QZ"};
    install();
    EXPECT_EQ(writtenPath(), "./4QZ");
}

TEST_F(ImageFile, IsNeverOneWithAnotherPrefix) {
    files().listing = {"4qz-2.0", "4Qz-2.0", "4Q", "x4QZ-2.0", " 4QZ", "4Q Z", "4Q2"};
    install();
    EXPECT_ENTRIES(lines("Sw Dir name is"), Entries{});
    EXPECT_EQ(writtenPath(), "./");
}

TEST_F(ImageFile, HasAnEmptyNameWhereThereIsNone) {
    std::filesystem::remove("4QZ-2.0");
    shell().popenOutput.clear();
    install();
    EXPECT_ENTRIES(lines("Image File"),
                   entries(notice("upgrade", kUpgrade, "Image File to upgrade is = ")));
    EXPECT_ENTRIES(only(journal().actions(), {"popen", "evbus"}),
                   entries("popen md5sum ./ |awk '{print $1}' r", signal("OTA_CRC_CHECK_FAILED")));
}

TEST_F(ImageFile, HasAnEmptyNameWhereTheDirectoryCannotBeRead) {
    files().failOpen["."] = EACCES;
    shell().popenOutput.clear();
    journal().watchFiles();
    install();
    EXPECT_ENTRIES(only(journal().actions(), {"opendir", "closedir"}), entries("opendir ."));
    EXPECT_ENTRIES(lines("Image File"),
                   entries(notice("upgrade", kUpgrade, "Image File to upgrade is = ")));
    EXPECT_ENTRIES(only(journal().actions(), {"evbus", "nal_"}),
                   entries(signal("OTA_CRC_CHECK_FAILED"), "nal_fallBackToActiveImage"));
}

TEST_F(ImageFile, MayHaveMoreThan2GiB) {
    std::filesystem::resize_file("4QZ-2.0", 3ULL << 30U); // a hole, no disk is used
    install();
    EXPECT_EQ(lines("stat(): write SUCCESS").size(), 1U);
    EXPECT_EQ(writtenPath(), "./4QZ-2.0");
}

TEST_F(ImageFile, IsInstalledEvenWhereItsStatusCannotBeHad) {
    files().listing = {"4QZ-gone"};
    install();
    const Entries behind = installedBehind(trace(kUpgrade, "Image File to upgrade is = 4QZ-gone"));
    EXPECT_ENTRIES(Entries(behind.begin(), behind.begin() + 2), said("stat(): FAILED"));
    EXPECT_ENTRIES(lines("Image file Path"),
                   entries(notice("upgrade", kUpgrade,
                                  "Image file Path and size before writing is = ./4QZ-gone--0")));
    EXPECT_EQ(writtenPath(), "./4QZ-gone");
}

TEST_F(ImageFile, KeepsAPathOf63Characters) {
    const std::string name = "4QZ" + std::string(58, 'n');
    files().listing = {name};
    install();
    EXPECT_EQ(writtenPath(), "./" + name);
    EXPECT_EQ(writtenPath().size(), 63U);
}

TEST_F(ImageFile, HasItsPathCutAt63Characters) {
    const std::string name = "4QZ" + std::string(200, 'n');
    files().listing = {name};
    install();
    const std::string path = ("./" + name).substr(0, 63);
    EXPECT_EQ(writtenPath(), path);
    EXPECT_ENTRIES(only(journal().actions(), {"popen"}),
                   entries("popen md5sum " + path + " |awk '{print $1}' r"));
    EXPECT_ENTRIES(lines("NAL_MAPPING"),
                   entries(notice("upgrade", kUpgrade,
                                  "NAL_MAPPING_SWIMG_ID_0 1 filename " + path +
                                      " strlen 63 NAL_SWDL_FLAG_FROM_WEB 3")));
    EXPECT_ENTRIES(lines("Image File"),
                   entries(notice("upgrade", kUpgrade, "Image File to upgrade is = " + name)));
}

TEST_F(ImageFile, KeepsANameOf255Characters) {
    const std::string name = "4QZ" + std::string(252, 'n');
    files().listing = {name};
    install();
    EXPECT_ENTRIES(lines("Image File"),
                   entries(notice("upgrade", kUpgrade, "Image File to upgrade is = " + name)));
}

TEST_F(ImageFile, IsLookedForInTheTemporaryDirectoryOfTheNode) {
    std::filesystem::create_directory("spool");
    writeFile("spool/4QZ-3.0", "hello");
    node().tmpDirectory = "spool";
    install();
    EXPECT_EQ(writtenPath(), "spool/4QZ-3.0");
}

TEST_F(ImageFile, OfTheLastInstallationIsForgotten) {
    install();
    std::filesystem::remove("4QZ-2.0");
    journal().clear();
    install();
    EXPECT_ENTRIES(lines("Image File"),
                   entries(notice("upgrade", kUpgrade, "Image File to upgrade is = ")));
    EXPECT_ENTRIES(only(journal().actions(), {"popen"}),
                   entries("popen md5sum ./ |awk '{print $1}' r"));
}

} // namespace
