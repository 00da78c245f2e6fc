// SPDX-License-Identifier: MIT
// Files are read whole or not at all, and replaced in one step.
#include "base/file_io.h"

#include "faults.h"
#include "fixture.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace base {
namespace {

class FileIo : public InTemporaryDirectory {
  protected:
    ~FileIo() override { faults::clear(); }
    std::string path_ = in("file");
};

TEST_F(FileIo, ReadsAFileUpToItsLimit) {
    writeText(path_, "twelve bytes");
    EXPECT_EQ(*readWholeFile(path_, 12), "twelve bytes");
    EXPECT_EQ(readWholeFile(path_, 11).error().text, path_ + ": is larger than 11 bytes");
    EXPECT_FALSE(readWholeFile("/proc/version", 4096)->empty()) << "which says that it is empty";
}

TEST_F(FileIo, WaitsForNothing) {
    EXPECT_EQ(readWholeFile(path_, 9).error().text,
              path_ + ": cannot be opened: No such file or directory");
    ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
    EXPECT_EQ(readWholeFile(path_, 9).error().text,
              path_ + ": is no regular file; replace it by one");
    std::string text;
    struct stat status {};
    EXPECT_FALSE(readPlainFile(path_, 9, text, status));
    writeText(in("other"), "text");
    std::filesystem::create_symlink("other", in("link"));
    EXPECT_FALSE(readPlainFile(in("link"), 9, text, status)) << "it leads elsewhere";
    EXPECT_TRUE(readPlainFile(in("other"), 3, text, status));
    EXPECT_EQ(text, "tex");
}

TEST_F(FileIo, ReplacesAFileOrLeavesItAsItWas) {
    writeText(path_, "old");
    for (const faults::Call call :
         {faults::Call::write, faults::Call::fileSync, faults::Call::rename}) {
        faults::failFrom(call, 1, EIO);
        const auto replaced = replaceFile(path_, "new");
        ASSERT_FALSE(replaced);
        EXPECT_EQ(replaced.error().text.find(path_), 0U) << replaced.error().text;
        faults::clear();
        EXPECT_EQ(readText(path_), "old");
    }
    EXPECT_TRUE(replaceFile(path_, "new"));
    EXPECT_EQ(readText(path_), "new");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(in("")), {}), 1);
}

} // namespace
} // namespace base
