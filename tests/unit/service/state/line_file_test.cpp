// SPDX-License-Identifier: MIT
// Lines that are added to a file, and its rotation.
#include "service/state/line_file.h"

#include "tests/unit/service/state/files.h"

#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// Empty, or what is wrong.
std::string appendLines(const service::LineFile &file, const std::vector<std::string_view> &lines) {
    const auto added = service::appendLines(file, lines);
    return added ? "" : added.error().text;
}

std::string appendLine(const std::string &path, std::string_view line, std::uint64_t maxBytes,
                       int keep) {
    return appendLines({path, maxBytes, keep}, {line});
}

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

TEST_F(LineFile, TakesManyLinesAndIsRotatedBetweenThem) {
    EXPECT_EQ(appendLines({path_, 8, 3}, {"1", "2", "345", "6789012345", "a", "b"}), "");
    EXPECT_EQ(textOf(path_ + ".2"), "1\n2\n345\n");
    EXPECT_EQ(textOf(path_ + ".1"), "6789012345\n");
    EXPECT_EQ(textOf(path_), "a\nb\n");
}

class LineFileThatIsThinnedOut : public LineFile {
  protected:
    std::string append(std::string_view line, const std::string &thin) {
        writeText(path_, "own\nother\nother\n");
        return appendLines({path_, 20, 1,
                            [&, thin](std::string_view text) {
                                asked_ += text;
                                return thin;
                            }},
                           {line});
    }

    std::string asked_;
};

TEST_F(LineFileThatIsThinnedOut, IsNotRotatedWhereThatMakesRoom) {
    EXPECT_EQ(append("next", "own\nother\n"), "");
    EXPECT_EQ(asked_, "own\nother\nother\n");
    EXPECT_EQ(textOf(path_), "own\nother\nnext\n");
    EXPECT_EQ(std::filesystem::status(path_).permissions(), std::filesystem::perms(0640));
    EXPECT_FALSE(std::filesystem::exists(path_ + ".1"));
}

TEST_F(LineFileThatIsThinnedOut, IsRotatedWhereThatIsNotEnough) {
    EXPECT_EQ(append("a longer one", "own\nother\n"), "");
    EXPECT_EQ(textOf(path_), "a longer one\n");
    EXPECT_EQ(textOf(path_ + ".1"), "own\nother\nother\n");
}

TEST_F(LineFileThatIsThinnedOut, IsRotatedWhereAllIsToStay) {
    EXPECT_EQ(append("next", "own\nother\nother\n"), "");
    EXPECT_EQ(textOf(path_), "next\n");
    EXPECT_EQ(textOf(path_ + ".1"), "own\nother\nother\n");
}

class LinesThatAreRead : public LineFile {
  protected:
    std::vector<std::string> read(std::size_t longest) {
        std::vector<std::string> lines;
        service::readLines(path_, longest, [&](std::string line) { lines.push_back(line); });
        return lines;
    }
};

TEST_F(LinesThatAreRead, AreThoseOfTheFileAndItsCutEnd) {
    writeText(path_, "one\n\ntwo\ncut");
    EXPECT_EQ(read(10), (std::vector<std::string>{"one", "", "two", "cut"}));
}

TEST_F(LinesThatAreRead, AreNeverMuchLongerThanTheyMayBe) {
    writeText(path_, std::string(1'000'000, 'x') + "\nnext\n");
    EXPECT_EQ(read(10), (std::vector<std::string>{std::string(11, 'x'), "next"}));
}

TEST_F(LinesThatAreRead, AreNoneOfWhatIsNoFile) {
    EXPECT_TRUE(read(10).empty());
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_TRUE(read(10).empty());
    ASSERT_EQ(unlink(path_.c_str()), 0);
    writeText(in("elsewhere"), "secret\n");
    std::filesystem::create_symlink(in("elsewhere"), path_);
    EXPECT_TRUE(read(10).empty());
}

TEST_F(LineFile, IsARegularFileOrNotWritten) {
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_NE(appendLines({path_, 1000, 1}, {"a line"}), "");
    ASSERT_EQ(unlink(path_.c_str()), 0);
    writeText(in("elsewhere"), "a line\n");
    std::filesystem::create_symlink(in("elsewhere"), path_);
    EXPECT_NE(appendLines({path_, 1000, 1}, {"another"}), "");
    EXPECT_EQ(textOf(in("elsewhere")), "a line\n");
}

TEST_F(LineFile, NumbersItsOlderFiles) {
    EXPECT_EQ(service::rotationOf("/a/b", 0), "/a/b");
    EXPECT_EQ(service::rotationOf("/a/b", 12), "/a/b.12");
}

} // namespace
