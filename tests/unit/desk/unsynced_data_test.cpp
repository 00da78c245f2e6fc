// SPDX-License-Identifier: MIT
// Bytes that were not synced are gone after a power cut.
#include "powered_disk.h"

namespace {

class UnsyncedData : public PoweredDisk {};

TEST_F(UnsyncedData, BytesThatWereNotSyncedAreAsBefore) {
    given("f", "0123456789");
    write("f", 2, "abc");
    write("f", 4, "xyz");
    drop();
    EXPECT_EQ(read("f"), "0123456789");
}

TEST_F(UnsyncedData, BytesOfASyncedFileStay) {
    given("f", "0123456789");
    write("f", 2, "abc");
    sync("f");
    write("f", 0, "lost");
    drop();
    EXPECT_EQ(read("f"), "01abc56789");
}

TEST_F(UnsyncedData, AFileThatGrewIsAsLongAsBefore) {
    given("f", sectors(1, 'a') + "tail");
    write("f", kSectorSize + 4, sectors(3, 'b'));
    drop();
    EXPECT_EQ(read("f"), sectors(1, 'a') + "tail");
}

TEST_F(UnsyncedData, AFileThatWasCutShortHasAllItsBytesAgain) {
    given("f", sectors(3, 'a') + "tail");
    truncate("f", 0);
    write("f", 0, sectors(2, 'b'));
    drop();
    EXPECT_EQ(read("f"), sectors(3, 'a') + "tail");
}

TEST_F(UnsyncedData, AWriteThatSyncsItselfKeepsItsOwnBytesAlone) {
    given("f", sectors(4, 'a'));
    write("f", 0, sectors(4, 'b'));
    const base::UniqueFd file = opened("f");
    write(file.get(), kSectorSize, sectors(1, 'c'));
    disk_->wasWrittenThrough(file.get(), {kSectorSize, kSectorSize});
    drop();
    EXPECT_EQ(read("f"), sectors(1, 'a') + sectors(1, 'c') + sectors(2, 'a'));
}

TEST_F(UnsyncedData, BeforeAWriteThatSyncsItselfAnUnsyncedPartIsAGap) {
    given("f", "");
    const base::UniqueFd file = opened("f");
    write(file.get(), 0, sectors(2, 'a'));
    write(file.get(), 2 * kSectorSize, sectors(1, 'b'));
    disk_->wasWrittenThrough(file.get(), {2 * kSectorSize, kSectorSize});
    drop();
    EXPECT_EQ(read("f"), sectors(2, '\0') + sectors(1, 'b'));
}

} // namespace
