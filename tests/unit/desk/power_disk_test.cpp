// SPDX-License-Identifier: MIT
// What a disk holds once its power was cut, rule by rule.
#include "powered_disk.h"

#include "desk/failure.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

namespace {

TEST_F(PoweredDisk, BytesThatWereNotSyncedAreAsBefore) {
    given("f", "0123456789");
    write("f", 2, "abc");
    write("f", 4, "xyz");
    drop();
    EXPECT_EQ(read("f"), "0123456789");
}

TEST_F(PoweredDisk, BytesOfASyncedFileStay) {
    given("f", "0123456789");
    write("f", 2, "abc");
    sync("f");
    write("f", 0, "lost");
    drop();
    EXPECT_EQ(read("f"), "01abc56789");
}

TEST_F(PoweredDisk, AFileThatGrewIsAsLongAsBefore) {
    given("f", sectors(1, 'a') + "tail");
    write("f", kSectorSize + 4, sectors(3, 'b'));
    drop();
    EXPECT_EQ(read("f"), sectors(1, 'a') + "tail");
}

TEST_F(PoweredDisk, AFileThatWasCutShortHasAllItsBytesAgain) {
    given("f", sectors(3, 'a') + "tail");
    truncate("f", 0);
    write("f", 0, sectors(2, 'b'));
    drop();
    EXPECT_EQ(read("f"), sectors(3, 'a') + "tail");
}

TEST_F(PoweredDisk, AWriteThatSyncsItselfKeepsItsOwnBytesAlone) {
    given("f", sectors(4, 'a'));
    write("f", 0, sectors(4, 'b'));
    const base::UniqueFd file = opened("f");
    write(file.get(), kSectorSize, sectors(1, 'c'));
    disk_->wasWrittenThrough(file.get(), {kSectorSize, kSectorSize});
    drop();
    EXPECT_EQ(read("f"), sectors(1, 'a') + sectors(1, 'c') + sectors(2, 'a'));
}

TEST_F(PoweredDisk, BeforeAWriteThatSyncsItselfAnUnsyncedPartIsAGap) {
    given("f", "");
    const base::UniqueFd file = opened("f");
    write(file.get(), 0, sectors(2, 'a'));
    write(file.get(), 2 * kSectorSize, sectors(1, 'b'));
    disk_->wasWrittenThrough(file.get(), {2 * kSectorSize, kSectorSize});
    drop();
    EXPECT_EQ(read("f"), sectors(2, '\0') + sectors(1, 'b'));
}

TEST_F(PoweredDisk, ASyncedFileHasNoNameBeforeItsFolderIsSynced) {
    make("f");
    write("f", 0, "text");
    sync("f");
    drop();
    EXPECT_FALSE(exists("f"));
}

TEST_F(PoweredDisk, ANameInASyncedFolderStaysAndItsBytesDoNot) {
    make("f");
    write("f", 0, "text");
    sync(".");
    drop();
    EXPECT_TRUE(exists("f"));
    EXPECT_EQ(read("f"), "");
}

TEST_F(PoweredDisk, AReplacedFileIsBackUntilTheFolderIsSynced) {
    given("f", "old");
    make("f.new");
    write("f.new", 0, "new");
    sync("f.new");
    rename("f.new", "f");
    drop();
    EXPECT_EQ(read("f"), "old");
    EXPECT_FALSE(exists("f.new"));
}

TEST_F(PoweredDisk, AReplacementInASyncedFolderStays) {
    given("f", "old");
    make("f.new");
    write("f.new", 0, "new");
    sync("f.new");
    rename("f.new", "f");
    sync(".");
    drop();
    EXPECT_EQ(read("f"), "new");
    EXPECT_FALSE(exists("f.new"));
}

TEST_F(PoweredDisk, AReplacementWithoutASyncOfTheFileLosesBoth) {
    given("f", "old");
    make("f.new");
    write("f.new", 0, "new");
    rename("f.new", "f");
    sync(".");
    drop();
    EXPECT_EQ(read("f"), "");
}

TEST_F(PoweredDisk, ARemovedFileIsBackWithItsBytes) {
    given("f", "text");
    write("f", 0, "lost");
    remove("f");
    drop();
    EXPECT_EQ(read("f"), "text");
}

TEST_F(PoweredDisk, AFileRemovedFromASyncedFolderIsGone) {
    given("f", "text");
    remove("f");
    sync(".");
    drop();
    EXPECT_FALSE(exists("f"));
}

TEST_F(PoweredDisk, AFolderGoesWithAllThatWasSyncedInIt) {
    makeFolder("d");
    make(folder("d"), "f");
    write("d/f", 0, "text");
    sync("d/f");
    sync("d");
    drop();
    EXPECT_FALSE(exists("d"));
}

TEST_F(PoweredDisk, ARemovedFolderIsBackWithWhatWasRemovedFromIt) {
    fs::create_directory(root_ / "d");
    given("d/f", "text");
    remove("f", 0, "d");
    remove("d", AT_REMOVEDIR);
    drop();
    EXPECT_EQ(read("d/f"), "text");
}

TEST_F(PoweredDisk, AFolderIsFoundWhereItsOwnNameChanged) {
    fs::create_directory(root_ / "d");
    given("d/f", "text");
    remove("f", 0, "d");
    rename("d", "e");
    sync(".");
    drop();
    EXPECT_EQ(read("e/f"), "text");
}

TEST_F(PoweredDisk, ARenameIntoAnotherFolderStaysOnceEitherIsSynced) {
    fs::create_directory(root_ / "d");
    given("f", "text");
    given("g", "text");
    rename("f", "f", "d");
    sync("d");
    rename("g", "g", "d");
    drop();
    EXPECT_FALSE(exists("f"));
    EXPECT_TRUE(exists("d/f"));
    EXPECT_TRUE(exists("g"));
    EXPECT_FALSE(exists("d/g"));
}

TEST_F(PoweredDisk, ExchangedNamesAreExchangedBack) {
    given("f", "1");
    given("g", "2");
    rename("f", "g", ".", RENAME_EXCHANGE);
    ASSERT_EQ(read("f"), "2");
    drop();
    EXPECT_EQ(read("f"), "1");
    EXPECT_EQ(read("g"), "2");
}

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
