// SPDX-License-Identifier: MIT
// A power cut that leaves part of what was not synced, and which part.
#include "powered_disk.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace {

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

} // namespace
