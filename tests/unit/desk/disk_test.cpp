// SPDX-License-Identifier: MIT
// What a disk holds once its power was cut, rule by rule.
#include "powered_disk.h"

#include "desk/failure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace {

TEST_F(PoweredDisk, EverythingStaysOnceEverythingIsSynced) {
    given("f", "old");
    write("f", 0, "new");
    make("g");
    remove("g");
    make("h");
    disk_->allSynced();
    drop();
    EXPECT_EQ(read("f"), "new");
    EXPECT_TRUE(exists("h"));
}

TEST_F(PoweredDisk, ACallThatFailedIsNotUndone) {
    given("f", "text");
    disk_->names().willMake(folder().get(), "f");
    drop();
    EXPECT_EQ(read("f"), "text");
}

TEST_F(PoweredDisk, MemoryIsEmptyAfterwards) {
    given("ram/f", "text");
    fs::create_directories(root_ / "ram/d/e");
    drop();
    EXPECT_TRUE(fs::is_empty(root_ / "ram"));
    EXPECT_TRUE(exists("ram"));
}

TEST_F(PoweredDisk, KnowsWhatLiesOnItAndWhatDoesNot) {
    EXPECT_EQ(disk_->mediumOf(root_ / "f"), power::Disk::Medium::disk);
    EXPECT_EQ(disk_->mediumOf(root_ / "ram/f"), power::Disk::Medium::ram);
    EXPECT_EQ(disk_->mediumOf(root_.string() + "2/f"), power::Disk::Medium::other);
    EXPECT_EQ(disk_->mediumOf(place_), power::Disk::Medium::other);
    EXPECT_THROW(power::Disk(root_, {place_}), desk::Failure);
    EXPECT_THROW(power::Disk(root_ / "none", {}), desk::Failure);
}

TEST_F(PoweredDisk, LeavesNothingBesideItself) {
    given("f", "text");
    remove("f");
    drop();
    disk_.reset();
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(place_)) {
        names.insert(entry.path().filename());
    }
    EXPECT_EQ(names, std::set<std::string>{"disk"});
}

} // namespace
