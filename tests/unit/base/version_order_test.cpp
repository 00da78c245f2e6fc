// SPDX-License-Identifier: MIT
// The order of versions.
#include "base/version_order.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using base::compareVersions;

namespace {

// Every version comes before each one below it.
const std::vector<std::string> kAscending = {
    "",          "+",         "-",          ".",          "0",          "1",
    "1+1",       "1-rc1",     "1.0",        "1.0.1",      "1.2",        "1.2.3",
    "1.9",       "1.10",      "1.10a",      "1.10a1",     "1.10a2",     "1.10a10",
    "1a",        "2",         "10",         "4294967295", "4294967296", "18446744073709551616",
    "4QZ1.2.9x", "4QZ1.2.10", "4QZ1.2.10a", "4QZ1.10",    "4QZ2",       "4QZ10",
    "4QZa",      "A",         "_",          "a",          "b",
};

TEST(VersionOrder, IsNaturalAndHoldsBetweenAnyTwo) {
    // The texts with the prefix sort by their first run of digits, which is 4.
    std::vector<std::string> bare;
    std::vector<std::string> prefixed;
    for (const std::string &version : kAscending) {
        (version.starts_with("4QZ") ? prefixed : bare).push_back(version);
    }
    for (const auto &versions : {bare, prefixed}) {
        for (std::size_t i = 0; i < versions.size(); ++i) {
            for (std::size_t j = 0; j < versions.size(); ++j) {
                const int expected = (i > j) - (i < j);
                EXPECT_EQ(compareVersions(versions[i], versions[j]), expected)
                    << versions[i] << " and " << versions[j];
            }
        }
    }
}

TEST(VersionOrder, DoesNotLookAtLeadingZeros) {
    EXPECT_EQ(compareVersions("4QZ1.01", "4QZ1.1"), 0);
    EXPECT_EQ(compareVersions("4QZ1.00", "4QZ1.0"), 0);
    EXPECT_EQ(compareVersions("4QZ1.009", "4QZ1.10"), -1);
    EXPECT_EQ(compareVersions("4QZ1.010", "4QZ1.9"), 1);
}

TEST(VersionOrder, ComparesNumbersOfAnyLength) {
    const std::string nines(60, '9');
    EXPECT_EQ(compareVersions("4QZ" + nines, "4QZ1" + std::string(60, '0')), -1);
    EXPECT_EQ(compareVersions("4QZ" + nines, "4QZ" + nines), 0);
}

} // namespace
