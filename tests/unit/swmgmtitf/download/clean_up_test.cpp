// SPDX-License-Identifier: MIT
// What a download removes before it starts, and where its commands are cut.
#include "download_fixture.h"

#include <filesystem>

using namespace ota::test;

namespace {

class CleanUp : public DownloadTest {
  protected:
    // The commands of a download on a node with this temporary directory.
    Entries commandsIn(const std::string &directory) {
        node().tmpDirectory = directory;
        readPaths();
        offer("", kVersion);
        EXPECT_EQ(download(), -1);
        return only(journal().actions(), {"system "});
    }
};

TEST_F(CleanUp, RunsThreeCommandsInTheirOrder) {
    EXPECT_ENTRIES(commandsIn("t"), entries("system rm -rf t/4QZ*", "system rm -rf t/tmpImage",
                                            "system rm -rf t/software_"));
}

TEST_F(CleanUp, RunsACommandOf18CharactersWhole) {
    EXPECT_EQ(commandsIn("ab")[1], "system rm -rf ab/tmpImage");
}

TEST_F(CleanUp, CutsACommandAt18Characters) {
    EXPECT_ENTRIES(commandsIn("/var/spool"),
                   entries("system rm -rf /var/spool/", "system rm -rf /var/spool/",
                           "system rm -rf /var/spool/"));
}

TEST_F(CleanUp, CutsInsideAName) {
    EXPECT_ENTRIES(commandsIn("abcdefgh"),
                   entries("system rm -rf abcdefgh/4Q", "system rm -rf abcdefgh/tm",
                           "system rm -rf abcdefgh/so"));
}

TEST_F(CleanUp, RunsTheFolderCommandWholeWhereItsPathFits) {
    // A folder of 9 characters: "rm -rf ", the folder, "/*".
    setText(AGENT_VAR(g_swDwnld), "downloads");
    offer("", kVersion);
    EXPECT_EQ(download(), -1);
    EXPECT_EQ(only(journal().actions(), {"system "})[2], "system rm -rf downloads/*");

    journal().clear();
    setText(AGENT_VAR(g_swDwnld), "downloads2");
    EXPECT_EQ(download(), -1);
    EXPECT_EQ(only(journal().actions(), {"system "})[2], "system rm -rf downloads2/");
}

TEST_F(CleanUp, RemovesImagesAndTemporaryImageForReal) {
    shell().runsCommands = true;
    writeFile("4QZ-old", "old");
    writeFile("4QZ-2.0", "old");
    writeFile("4qz-other", "kept");
    writeFile("tmpImage", "old");
    std::filesystem::create_directory("software_download");
    writeFile("software_download/part", "kept, since the command is cut");
    offer("", kVersion);

    EXPECT_EQ(download(), -1);

    EXPECT_FALSE(exists("4QZ-old"));
    EXPECT_FALSE(exists("4QZ-2.0"));
    EXPECT_TRUE(exists("4qz-other"));
    EXPECT_FALSE(exists("tmpImage"));
    EXPECT_TRUE(exists("software_download/part"));
}

TEST_F(CleanUp, IsLeftOutAfterTheOneStatusThatNobodySends) {
    setText(AGENT_VAR(swUpgStat).status, "OTASwActivationSuccess");
    offer("", kVersion);
    EXPECT_EQ(download(), -1);
    EXPECT_ENTRIES(journal().actions(), Entries{});
    EXPECT_ENTRIES(only(journal().logs(), {"notice swmgmtitf ota_httpDownLoadFile: Removing"}),
                   Entries{});
}

TEST_F(CleanUp, RunsAfterEveryOtherStatus) {
    for (const char *status : {"", "OTASwActivationSucces", "OTASwActivationSuccess1",
                               "otaswactivationsuccess", "OTA_SW_ACTIVATION_COMPLETE"}) {
        journal().clear();
        setText(AGENT_VAR(swUpgStat).status, status);
        offer("", kVersion);
        EXPECT_EQ(download(), -1);
        EXPECT_EQ(journal().actions().size(), 3U) << "after \"" << status << '"';
    }
}

TEST_F(CleanUp, LooksAtNoResult) {
    node().always["system"] = 256;
    EXPECT_EQ(download(), 0);
}

} // namespace
