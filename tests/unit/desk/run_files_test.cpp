// SPDX-License-Identifier: MIT
// The run folder, the progress file and the story in the host's log.
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/log_story.h"
#include "desk/progress.h"
#include "desk/run_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

namespace {

namespace fs = std::filesystem;

class RunFiles : public testing::Test {
  protected:
    RunFiles() {
        std::string pattern = (fs::temp_directory_path() / "desk-files.XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
    }
    ~RunFiles() override { fs::remove_all(folder_); }

    void append(const char *name, const std::string &text) const {
        std::ofstream(folder_ / name, std::ios::app) << text;
    }

    fs::path folder_;
};

TEST_F(RunFiles, ARunFolderOfAnEarlierRunIsEmptied) {
    const fs::path path = folder_ / "run";
    {
        const desk::RunFolder first(path);
        desk::writeFile(path / "left", "over");
    }
    const desk::RunFolder second(path);
    EXPECT_FALSE(fs::exists(path / "left"));
}

TEST_F(RunFiles, AFolderOfSomebodyElseIsLeftAlone) {
    append("precious", "mine");
    EXPECT_THROW(desk::RunFolder{folder_}, desk::Failure);
    EXPECT_EQ(desk::readFile(folder_ / "precious"), "mine");
}

TEST_F(RunFiles, ARunFolderInUseIsLeftAlone) {
    const fs::path path = folder_ / "run";
    const desk::RunFolder first(path);
    desk::writeFile(path / "in-use", "now");
    EXPECT_THROW(desk::RunFolder{path}, desk::Failure);
    EXPECT_EQ(desk::readFile(path / "in-use"), "now");
}

TEST_F(RunFiles, AFileInPlaceOfTheFolderIsOneClearFailure) {
    append("run", "a file");
    EXPECT_THROW(desk::RunFolder{folder_ / "run"}, desk::Failure);
    EXPECT_EQ(desk::readFile(folder_ / "run"), "a file");
}

TEST_F(RunFiles, ProgressIsToldOnlyWhereItRose) {
    desk::ProgressFile progress(folder_ / "progress", 1000);
    EXPECT_FALSE(progress.look());
    desk::writeFile(folder_ / "progress", "7\n");
    EXPECT_EQ(progress.look().value().percent, 7);
    EXPECT_FALSE(progress.look());
    desk::writeFile(folder_ / "progress", "");
    EXPECT_FALSE(progress.look());
    desk::writeFile(folder_ / "progress", "100\nOTA_SW_DOWNLOAD_FAILED\n");
    const desk::Progress whole = progress.look().value();
    EXPECT_EQ(whole.percent, 100);
    EXPECT_EQ(whole.secondsLeft, 0);
}

TEST_F(RunFiles, ARestartedDownloadCountsFromZero) {
    desk::ProgressFile progress(folder_ / "progress", 1000);
    desk::writeFile(folder_ / "progress", "80\n");
    EXPECT_TRUE(progress.look());
    progress.restart();
    desk::writeFile(folder_ / "progress", "5\n");
    EXPECT_EQ(progress.look().value().percent, 5);
}

TEST_F(RunFiles, TheStoryTakesWholeLinesOnceAndWaitsForTheRest) {
    desk::LogStory story(folder_ / "log");
    EXPECT_TRUE(story.news().empty());
    append("log", "notice ota: [upgrade upgrade:1] MD5 CRC check PASS...go for Flash write\nOTAFl");
    const std::vector<desk::Tale> first = story.news();
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(first[0].step, "checked");
    append("log", "ashWriteComplete\n");
    const std::vector<desk::Tale> second = story.news();
    ASSERT_EQ(second.size(), 1U);
    EXPECT_EQ(second[0].step, "written");
    EXPECT_TRUE(story.news().empty());
}

TEST_F(RunFiles, TheLastLineAndTheLastErrorOfALogAreFound) {
    EXPECT_EQ(desk::lastLine(folder_ / "log"), "");
    append("log", "error: one\nnotice: an error: no\nerror: two \r\nnotice: last\n\n");
    EXPECT_EQ(desk::lastLine(folder_ / "log"), "notice: last");
    EXPECT_EQ(desk::lastErrorLine(folder_ / "log"), "error: two");
    append("log", "error: " + std::string(1000, 'x'));
    EXPECT_EQ(desk::lastErrorLine(folder_ / "log").size(), 240U);
}

TEST_F(RunFiles, MoreSpaceThanThereIsIsOneClearFailure) {
    EXPECT_NO_THROW(desk::requireSpace(folder_, 0));
    try {
        desk::requireSpace(folder_, UINT64_MAX);
        FAIL() << "accepted";
    } catch (const desk::Failure &failure) {
        EXPECT_NE(std::string(failure.what()).find(folder_.string()), std::string::npos);
        EXPECT_NE(std::string(failure.what()).find(" free; make room there"), std::string::npos);
    }
}

TEST_F(RunFiles, ABankIsComparedByteForByte) {
    desk::writeFile(folder_ / "image", "0123456789");
    desk::writeFile(folder_ / "bank", std::string("0123456789") + std::string(6, '\0'));
    EXPECT_TRUE(desk::beginsWith(folder_ / "bank", folder_ / "image", 10));
    desk::writeFile(folder_ / "bank", "0123456780");
    EXPECT_FALSE(desk::beginsWith(folder_ / "bank", folder_ / "image", 10));
    desk::writeFile(folder_ / "bank", "01234");
    EXPECT_FALSE(desk::beginsWith(folder_ / "bank", folder_ / "image", 10));
    EXPECT_EQ(desk::md5Of(folder_ / "image"), "781e5e245d69b566979b86e28d23f2c7");
}

} // namespace
