// SPDX-License-Identifier: MIT
// What a disk holds once its power was cut, rule by rule.
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/power/disk.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using power::CutMode;
using power::kSectorSize;

constexpr std::uint64_t kAnySeed = 7;

// Calls as a program makes them, each told to the disk before and after.
class PoweredDisk : public testing::Test {
  protected:
    PoweredDisk() : place_(newFolder()), root_(place_ / "disk") {
        fs::create_directory(root_);
        fs::create_directory(root_ / "ram");
        disk_.emplace(root_, std::vector<fs::path>{root_ / "ram"});
    }
    ~PoweredDisk() override {
        disk_.reset();
        fs::remove_all(place_);
    }

    static fs::path newFolder() {
        std::string name = (fs::temp_directory_path() / "power-XXXXXX").string();
        return mkdtemp(name.data());
    }

    // What was there before anything was watched.
    void given(const std::string &name, const std::string &text) const {
        desk::writeFile(root_ / name, text);
    }
    [[nodiscard]] std::string read(const std::string &name) const {
        return desk::readFile(root_ / name);
    }
    [[nodiscard]] bool exists(const std::string &name) const { return fs::exists(root_ / name); }

    [[nodiscard]] nal::UniqueFd opened(const std::string &name, int flags = O_RDWR) const {
        return nal::UniqueFd(open((root_ / name).c_str(), flags | O_CLOEXEC));
    }
    [[nodiscard]] nal::UniqueFd folder(const std::string &name = ".") const {
        return opened(name, O_PATH | O_DIRECTORY);
    }

    void write(int file, std::uint64_t offset, const std::string &text) {
        disk_->willWrite(file, {offset, text.size()});
        ASSERT_EQ(pwrite(file, text.data(), text.size(), static_cast<off_t>(offset)),
                  static_cast<ssize_t>(text.size()));
    }
    void write(const std::string &name, std::uint64_t offset, const std::string &text) {
        write(opened(name).get(), offset, text);
    }
    void truncate(const std::string &name, std::uint64_t size) {
        const nal::UniqueFd file = opened(name);
        disk_->willResize(file.get(), size);
        ASSERT_EQ(ftruncate(file.get(), static_cast<off_t>(size)), 0);
    }
    void make(const std::string &name) { make(folder(), name); }
    void make(const nal::UniqueFd &where, const std::string &name) {
        const auto change = disk_->names().willMake(where.get(), name);
        ASSERT_GE(nal::UniqueFd(openat(where.get(), name.c_str(), O_CREAT | O_WRONLY, 0600)).get(),
                  0);
        disk_->names().happened(change);
    }
    void makeFolder(const std::string &name) {
        const nal::UniqueFd where = folder();
        const auto change = disk_->names().willMake(where.get(), name);
        ASSERT_EQ(mkdirat(where.get(), name.c_str(), 0700), 0);
        disk_->names().happened(change);
    }
    void remove(const std::string &name, int flags = 0, const std::string &in = ".") {
        const nal::UniqueFd where = folder(in);
        const auto change = disk_->names().willRemove(where.get(), name);
        ASSERT_EQ(unlinkat(where.get(), name.c_str(), flags), 0);
        disk_->names().happened(change);
    }
    void rename(const std::string &from, const std::string &to, const std::string &toFolder = ".",
                unsigned int flags = 0) {
        const nal::UniqueFd here = folder();
        const nal::UniqueFd there = folder(toFolder);
        const auto change = disk_->names().willRename(here.get(), from, there.get(), to,
                                                      (flags & RENAME_EXCHANGE) != 0);
        ASSERT_EQ(renameat2(here.get(), from.c_str(), there.get(), to.c_str(), flags), 0);
        disk_->names().happened(change);
    }
    void sync(const std::string &name) { disk_->synced(opened(name, O_RDONLY).get()); }

    void drop() { disk_->cut(CutMode::drop, 0); }
    void tear(std::uint64_t seed) { disk_->cut(CutMode::tear, seed); }

    fs::path place_;
    fs::path root_;
    std::optional<power::Disk> disk_;
};

std::string sectors(std::size_t count, char byte) { return std::string(count * kSectorSize, byte); }

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
    const nal::UniqueFd file = opened("f");
    write(file.get(), kSectorSize, sectors(1, 'c'));
    disk_->wasWrittenThrough(file.get(), {kSectorSize, kSectorSize});
    drop();
    EXPECT_EQ(read("f"), sectors(1, 'a') + sectors(1, 'c') + sectors(2, 'a'));
}

TEST_F(PoweredDisk, BeforeAWriteThatSyncsItselfAnUnsyncedPartIsAGap) {
    given("f", "");
    const nal::UniqueFd file = opened("f");
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

// How a file of so many sectors looks after a tear: a letter for each.
std::string lettersOf(const std::string &text) {
    std::string letters;
    for (std::size_t at = 0; at + kSectorSize <= text.size(); at += kSectorSize) {
        const std::string sector = text.substr(at, kSectorSize);
        letters += sector == std::string(kSectorSize, sector[0]) ? sector[0] : '?';
    }
    return letters;
}

TEST_F(PoweredDisk, ATornFileIsOldOrNewSectorBySector) {
    given("f", sectors(64, 'o'));
    write("f", 0, sectors(64, 'n'));
    tear(kAnySeed);
    const std::string letters = lettersOf(read("f"));
    EXPECT_EQ(letters.size(), 64U);
    EXPECT_EQ(letters.find_first_not_of("on"), std::string::npos) << letters;
    EXPECT_NE(letters.find('o'), std::string::npos);
    EXPECT_NE(letters.find('n'), std::string::npos);
}

TEST_F(PoweredDisk, OneSeedTearsInOneWay) {
    std::set<std::string> seen;
    for (const std::uint64_t seed : {kAnySeed, kAnySeed + 1, kAnySeed}) {
        given("f", sectors(64, 'o'));
        write("f", 0, sectors(64, 'n'));
        tear(seed);
        seen.insert(read("f"));
    }
    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(PoweredDisk, WhatWasSyncedIsNotTorn) {
    given("f", sectors(64, 'o'));
    write("f", 0, sectors(64, 'n'));
    sync("f");
    write("f", 0, sectors(1, 'x'));
    tear(kAnySeed);
    EXPECT_EQ(lettersOf(read("f")).substr(1), std::string(63, 'n'));
}

TEST_F(PoweredDisk, SectorsBehindTheOldEndAreNewOrEmpty) {
    bool grew = false;
    for (std::uint64_t seed = 2; seed < 12; ++seed) {
        given("f", "");
        write("f", 0, sectors(32, 'n'));
        tear(seed);
        const std::string letters = lettersOf(read("f"));
        EXPECT_EQ(letters.find_first_not_of(std::string("\0n", 2)), std::string::npos);
        grew = grew || letters.size() == 32;
    }
    EXPECT_TRUE(grew);
}

TEST_F(PoweredDisk, SeedZeroLosesTheLastSectorOfTheWriteInFlightAlone) {
    given("f", sectors(4, 'o'));
    write("f", 2 * kSectorSize, sectors(2, 'm'));
    write("f", 0, sectors(2, 'n'));
    tear(power::kSeedAllButLast);
    EXPECT_EQ(lettersOf(read("f")), "nomm");
}

TEST_F(PoweredDisk, SeedOneKeepsEveryNameAndNoByte) {
    given("f", "old");
    make("f.new");
    write("f.new", 0, "new");
    rename("f.new", "f");
    tear(power::kSeedNamesOnly);
    EXPECT_EQ(read("f"), "");
    EXPECT_FALSE(exists("f.new"));
}

TEST_F(PoweredDisk, OfTornNamesTheOldestSurvive) {
    std::set<std::string> seen;
    for (std::uint64_t seed = 2; seed < 60; ++seed) {
        std::string names;
        for (const char *name : {"1", "2", "3"}) {
            make(name);
        }
        tear(seed);
        for (const char *name : {"1", "2", "3"}) {
            names += fs::remove(root_ / name) ? name : "";
        }
        seen.insert(names);
    }
    EXPECT_EQ(seen, (std::set<std::string>{"", "1", "12", "123"}));
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
