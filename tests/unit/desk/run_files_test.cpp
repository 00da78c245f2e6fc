// SPDX-License-Identifier: MIT
// The run folder, the log of a node, and files of a run.
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/node_log.h"
#include "desk/run_folder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <unistd.h>

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

TEST_F(RunFiles, AFolderWhereOthersDecideIsJudgedBeforeAnythingIsRemovedOrMade) {
    const fs::path path = folder_ / "shared" / "run";
    { const desk::RunFolder first(path); }
    desk::writeFile(path / "thesis", "mine");
    fs::permissions(folder_ / "shared", fs::perms::all);
    EXPECT_THROW(desk::RunFolder{path}, desk::Failure);
    EXPECT_EQ(desk::readFile(path / "thesis"), "mine");
    EXPECT_THROW(desk::RunFolder{folder_ / "shared" / "new"}, desk::Failure);
    EXPECT_FALSE(fs::exists(folder_ / "shared" / "new"));
}

TEST_F(RunFiles, AFolderThatAnotherUserMadeOrLinkedIsLeftAlone) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can give a folder away";
    }
    const fs::path path = folder_ / "run";
    const auto failureOf = [](const fs::path &which) -> std::string {
        try {
            const desk::RunFolder run(which);
        } catch (const desk::Failure &failure) {
            return failure.what();
        }
        return "";
    };
    { const desk::RunFolder first(path); }
    desk::writeFile(path / "thesis", "mine");
    fs::create_symlink(path, folder_ / "link");
    ASSERT_EQ(lchown((folder_ / "link").c_str(), 65534, 65534), 0);
    EXPECT_NE(failureOf(folder_ / "link"), "");
    EXPECT_EQ(desk::readFile(path / "thesis"), "mine");
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    EXPECT_NE(failureOf(path).find("belongs to neither root nor"), std::string::npos);
    EXPECT_EQ(desk::readFile(path / "thesis"), "mine");
    ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    ASSERT_EQ(lchown((folder_ / "link").c_str(), 0, 0), 0);
    EXPECT_EQ(failureOf(folder_ / "link"), "");
    EXPECT_FALSE(fs::exists(path / "thesis"));
}

TEST_F(RunFiles, AFileInPlaceOfTheFolderIsOneClearFailure) {
    append("run", "a file");
    EXPECT_THROW(desk::RunFolder{folder_ / "run"}, desk::Failure);
    EXPECT_EQ(desk::readFile(folder_ / "run"), "a file");
}

TEST_F(RunFiles, TheLogTellsWhyDownloadsFailedOnceAndInWholeLines) {
    using News = std::vector<desk::LogNews>;
    using Kind = desk::LogNews::Kind;
    desk::NodeLog log(folder_ / "log");
    EXPECT_TRUE(log.news().empty());
    append("log", "error: x curl_easy_perform() failed: Timeout was reached\nnotice: y\nDownload");
    EXPECT_EQ(log.news(), (News{{Kind::failedDownload, "failed: Timeout was reached"}}));
    append("log", " Rety Exceeded\n");
    EXPECT_EQ(log.news(), (News{{Kind::gaveUp, "no further attempt"}}));
    EXPECT_TRUE(log.news().empty());
}

TEST_F(RunFiles, TheLogTellsWhatTheBusDoesNot) {
    using News = std::vector<desk::LogNews>;
    using Kind = desk::LogNews::Kind;
    desk::NodeLog log(folder_ / "log");
    append("log", "error: nal: the passive bank was not written: it is small\n"
                  "error: ota: [upgrade upgrade:29] faild\n"
                  "error: nal: the passive bank was not activated: it is damaged\n"
                  "notice: ota: [upgrade upgrade:47] Calculated md5 CRC value is = 0a1b\\x0A, "
                  "length is = 33\n"
                  "desk: timer downloadRetryTimer for 1800 s, which pass at once\n");
    EXPECT_EQ(log.news(),
              (News{{Kind::refusal, "it is small"},
                    {Kind::refusal, "it is damaged"},
                    {Kind::calculated, "0a1b"},
                    {Kind::passedTimer, "downloadRetryTimer for 1800 s, which pass at once"}}));
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
