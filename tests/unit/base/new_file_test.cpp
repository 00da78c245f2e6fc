// SPDX-License-Identifier: MIT
// A new file has its name once it is whole, and is no other than the one that was meant.
#include "base/new_file.h"

#include "fixture.h"

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace base {
namespace {

using NewFiles = InTemporaryDirectory;

TEST_F(NewFiles, TakeTheirNameAtTheEndAndLeaveNothingBefore) {
    const std::string path = in("file");
    writeText(path, "old");
    {
        NewFile given;
        ASSERT_TRUE(given.begin(path, 0640));
        ASSERT_TRUE(given.write("half", 4));
        EXPECT_EQ(readText(path), "old");
    }
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(in("")), {}), 1);
    NewFile file;
    ASSERT_TRUE(file.begin(path, 0640));
    ASSERT_TRUE(file.write("whole", 5));
    ASSERT_TRUE(file.finish());
    EXPECT_EQ(readText(path), "whole");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(NewFiles, AreWhereALinkOfOnesOwnLeads) {
    std::filesystem::create_directory(in("folder"));
    std::filesystem::create_symlink("folder/../folder/file", in("link"));
    NewFile file;
    ASSERT_TRUE(file.begin(in("link"), 0600));
    ASSERT_TRUE(file.finish());
    EXPECT_TRUE(std::filesystem::is_symlink(in("link")));
    EXPECT_TRUE(std::filesystem::is_regular_file(in("folder/file")));
    std::filesystem::create_symlink("circle", in("circle"));
    EXPECT_EQ(NewFile().begin(in("circle"), 0600).error().text,
              in("circle") + ": leads through a link that leads nowhere (circle); name the file "
                             "that you mean");
}

TEST_F(NewFiles, AreNotWhereALinkOfAnotherLeads) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to give the link away";
    }
    std::filesystem::create_symlink("file", in("link"));
    ASSERT_EQ(lchown(in("link").c_str(), 65534, 65534), 0);
    EXPECT_EQ(NewFile().begin(in("link"), 0600).error().text,
              in("link") + ": leads through a link of another user (link, owner 65534); name the "
                           "file that you mean");
    EXPECT_FALSE(std::filesystem::exists(in("file")));
}

} // namespace
} // namespace base
