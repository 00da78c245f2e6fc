// SPDX-License-Identifier: MIT
// Names whose folder was not synced are as before after a power cut.
#include "powered_disk.h"

namespace {

class UnsyncedNames : public PoweredDisk {};

TEST_F(UnsyncedNames, ASyncedFileHasNoNameBeforeItsFolderIsSynced) {
    make("f");
    write("f", 0, "text");
    sync("f");
    drop();
    EXPECT_FALSE(exists("f"));
}

TEST_F(UnsyncedNames, ANameInASyncedFolderStaysAndItsBytesDoNot) {
    make("f");
    write("f", 0, "text");
    sync(".");
    drop();
    EXPECT_TRUE(exists("f"));
    EXPECT_EQ(read("f"), "");
}

TEST_F(UnsyncedNames, AReplacedFileIsBackUntilTheFolderIsSynced) {
    given("f", "old");
    make("f.new");
    write("f.new", 0, "new");
    sync("f.new");
    rename("f.new", "f");
    drop();
    EXPECT_EQ(read("f"), "old");
    EXPECT_FALSE(exists("f.new"));
}

TEST_F(UnsyncedNames, AReplacementInASyncedFolderStays) {
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

TEST_F(UnsyncedNames, AReplacementWithoutASyncOfTheFileLosesBoth) {
    given("f", "old");
    make("f.new");
    write("f.new", 0, "new");
    rename("f.new", "f");
    sync(".");
    drop();
    EXPECT_EQ(read("f"), "");
}

TEST_F(UnsyncedNames, ARemovedFileIsBackWithItsBytes) {
    given("f", "text");
    write("f", 0, "lost");
    remove("f");
    drop();
    EXPECT_EQ(read("f"), "text");
}

TEST_F(UnsyncedNames, AFileRemovedFromASyncedFolderIsGone) {
    given("f", "text");
    remove("f");
    sync(".");
    drop();
    EXPECT_FALSE(exists("f"));
}

TEST_F(UnsyncedNames, AFolderGoesWithAllThatWasSyncedInIt) {
    makeFolder("d");
    make(folder("d"), "f");
    write("d/f", 0, "text");
    sync("d/f");
    sync("d");
    drop();
    EXPECT_FALSE(exists("d"));
}

TEST_F(UnsyncedNames, ARemovedFolderIsBackWithWhatWasRemovedFromIt) {
    fs::create_directory(root_ / "d");
    given("d/f", "text");
    remove("f", 0, "d");
    remove("d", AT_REMOVEDIR);
    drop();
    EXPECT_EQ(read("d/f"), "text");
}

TEST_F(UnsyncedNames, AFolderIsFoundWhereItsOwnNameChanged) {
    fs::create_directory(root_ / "d");
    given("d/f", "text");
    remove("f", 0, "d");
    rename("d", "e");
    sync(".");
    drop();
    EXPECT_EQ(read("e/f"), "text");
}

TEST_F(UnsyncedNames, ARenameIntoAnotherFolderStaysOnceEitherIsSynced) {
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

TEST_F(UnsyncedNames, ExchangedNamesAreExchangedBack) {
    given("f", "1");
    given("g", "2");
    rename("f", "g", ".", RENAME_EXCHANGE);
    ASSERT_EQ(read("f"), "2");
    drop();
    EXPECT_EQ(read("f"), "1");
    EXPECT_EQ(read("g"), "2");
}

} // namespace
