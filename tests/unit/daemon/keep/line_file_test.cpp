// SPDX-License-Identifier: MIT
// Lines that are added to a file, and its rotation.
#include "host/daemon/keep/line_file.h"

#include "tests/unit/daemon/keep/files.h"

#include <unistd.h>

namespace {

using otad::appendLine;

class LineFile : public InAFolder {
  protected:
    const std::string path_ = in("lines");
};

TEST_F(LineFile, GrowsByOneLineAtItsEnd) {
    EXPECT_EQ(appendLine(path_, "one", 1000, 2), "");
    EXPECT_EQ(appendLine(path_, "two", 1000, 2), "");
    EXPECT_EQ(textOf(path_), "one\ntwo\n");
    EXPECT_FALSE(std::filesystem::exists(path_ + ".1"));
}

TEST_F(LineFile, IsRotatedBeforeItWouldGrowOverItsLimit) {
    for (const char *const line : {"first", "second", "third", "fourth"}) {
        EXPECT_EQ(appendLine(path_, line, 7, 2), "");
    }
    EXPECT_EQ(textOf(path_), "fourth\n");
    EXPECT_EQ(textOf(path_ + ".1"), "third\n");
    EXPECT_EQ(textOf(path_ + ".2"), "second\n");
    EXPECT_FALSE(std::filesystem::exists(path_ + ".3")) << "the oldest was to go";
}

TEST_F(LineFile, IsFilledToTheLastByteOfItsLimit) {
    EXPECT_EQ(appendLine(path_, "123", 8, 1), "");
    EXPECT_EQ(appendLine(path_, "567", 8, 1), "");
    EXPECT_EQ(textOf(path_), "123\n567\n");
    EXPECT_EQ(appendLine(path_, "", 8, 1), "");
    EXPECT_EQ(textOf(path_), "\n");
    EXPECT_EQ(textOf(path_ + ".1"), "123\n567\n");
}

TEST_F(LineFile, TakesALineThatIsLongerThanItsLimit) {
    EXPECT_EQ(appendLine(path_, "much longer than this", 4, 1), "");
    EXPECT_EQ(textOf(path_), "much longer than this\n");
    EXPECT_FALSE(std::filesystem::exists(path_ + ".1")) << "an empty file was rotated";
}

TEST_F(LineFile, WithNoOlderFilesStartsOver) {
    EXPECT_EQ(appendLine(path_, "old", 4, 0), "");
    EXPECT_EQ(appendLine(path_, "new", 4, 0), "");
    EXPECT_EQ(textOf(path_), "new\n");
    EXPECT_FALSE(std::filesystem::exists(path_ + ".1"));
}

TEST_F(LineFile, IsRotatedOverAMissingOlderFile) {
    writeText(path_, "current\n");
    writeText(path_ + ".2", "oldest\n");
    EXPECT_EQ(appendLine(path_, "next", 4, 3), "");
    EXPECT_EQ(textOf(path_), "next\n");
    EXPECT_EQ(textOf(path_ + ".1"), "current\n");
    EXPECT_FALSE(std::filesystem::exists(path_ + ".2"));
    EXPECT_EQ(textOf(path_ + ".3"), "oldest\n");
}

TEST_F(LineFile, EndsALineThatAPowerLossCut) {
    writeText(path_, "whole\nhal");
    EXPECT_EQ(appendLine(path_, "next", 1000, 1), "");
    EXPECT_EQ(textOf(path_), "whole\nhal\nnext\n");
}

TEST_F(LineFile, NamesTheFileThatCannotBeWritten) {
    const std::string path = in("no such folder") + "/lines";
    const std::string whatIsWrong = appendLine(path, "line", 1000, 1);
    EXPECT_NE(whatIsWrong.find(path), std::string::npos) << whatIsWrong;
    EXPECT_NE(whatIsWrong.find("No such file"), std::string::npos) << whatIsWrong;
    EXPECT_EQ(whatIsWrong.find('\n'), std::string::npos);
}

TEST_F(LineFile, SaysWhenItCannotBeRotated) {
    writeText(path_, "current\n");
    std::filesystem::create_directory(path_ + ".1");
    const std::string whatIsWrong = appendLine(path_, "next", 4, 1);
    EXPECT_NE(whatIsWrong.find("cannot be rotated"), std::string::npos) << whatIsWrong;
    EXPECT_EQ(textOf(path_), "current\n");
}

TEST_F(LineFile, NumbersItsOlderFiles) {
    EXPECT_EQ(otad::rotationOf("/a/b", 0), "/a/b");
    EXPECT_EQ(otad::rotationOf("/a/b", 12), "/a/b.12");
}

} // namespace
