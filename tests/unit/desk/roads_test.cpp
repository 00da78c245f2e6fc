// SPDX-License-Identifier: MIT
// Options and the roads that they name.
#include "desk/roads.h"

#include <gtest/gtest.h>

namespace {

using desk::chooseRoad;
using desk::OptionError;
using desk::readOptions;

std::string roadOf(const std::vector<std::string> &arguments) {
    return std::string(chooseRoad(readOptions(arguments)).name);
}

TEST(Roads, EachSetOfOptionsNamesOneRoad) {
    EXPECT_EQ(roadOf({}), "policy-1");
    EXPECT_EQ(roadOf({"--policy", "0"}), "policy-0");
    EXPECT_EQ(roadOf({"--policy", "3", "--fast"}), "policy-3");
    EXPECT_EQ(roadOf({"--offload", "--policy", "2"}), "offload");
    EXPECT_EQ(roadOf({"--first-poll"}), "first-poll");
    EXPECT_EQ(roadOf({"--fail", "flash", "--mode", "AP_Bridge"}), "fail-flash");
    EXPECT_EQ(roadOf({"--fail", "health"}), "fail-health");
    EXPECT_EQ(roadOf({"--cut-power", "7"}), "cut-power");
    EXPECT_EQ(readOptions({"--cut-power", "7"}).cutPowerAt, 7U);
}

TEST(Roads, AnImageThatIsRefusedLeavesTheBankAsItWas) {
    for (const char *failure : {"signature", "version"}) {
        const desk::Road &road = chooseRoad(readOptions({"--fail", failure}));
        EXPECT_EQ(road.words, std::vector<std::string_view>{"OTA_SW_FLASH_WRITE_FAILED"});
        EXPECT_EQ(road.end, desk::End::untouched);
        EXPECT_TRUE(road.passiveHoldsOld); // or nothing would show a change
    }
}

TEST(Roads, WhatDoesNotGoTogetherIsRefused) {
    EXPECT_THROW(roadOf({"--offload", "--power-cut"}), OptionError);
    EXPECT_THROW(roadOf({"--cut-power", "1", "--mode", "AP_Bridge"}), OptionError);
    EXPECT_THROW(roadOf({"--cut-power", "1", "--policy", "0"}), OptionError);
    EXPECT_THROW(roadOf({"--offload", "--policy", "3"}), OptionError);
    EXPECT_THROW(roadOf({"--fail", "activate", "--policy", "2"}), OptionError);
    EXPECT_THROW(roadOf({"--first-poll", "--mode", "AP_Bridge"}), OptionError);
    EXPECT_THROW(roadOf({"--fail", "certificate", "--plain-http"}), OptionError);
    EXPECT_THROW(roadOf({"--mesh", "--power-cut"}), OptionError);
    EXPECT_THROW(roadOf({"--mesh", "--policy", "2"}), OptionError);
}

TEST(Roads, ASelectorMayNameARoadForEachPolicy) {
    EXPECT_EQ(chooseRoad(readOptions({"--first-poll", "--policy", "0"})).policies, "0");
    EXPECT_EQ(chooseRoad(readOptions({"--first-poll", "--policy", "2"})).policies, "2");
    EXPECT_EQ(chooseRoad(readOptions({"--fail", "activate", "--policy", "0"})).policies, "0");
    try {
        roadOf({"--first-poll", "--policy", "3"});
        FAIL() << "accepted";
    } catch (const OptionError &error) {
        EXPECT_STREQ(error.what(), "--first-poll does not go with --policy 3, only with 0, 1, 2; "
                                   "see ota-desk demo --help");
    }
}

TEST(Roads, AMeshTakesItsRoadByPolicy) {
    EXPECT_EQ(roadOf({"--mesh", "--plain-http"}), "mesh");
    EXPECT_TRUE(chooseRoad(readOptions({"--mesh"})).mesh);
    EXPECT_EQ(chooseRoad(readOptions({"--mesh", "--policy", "0"})).steps.size(), 2U);
}

TEST(Options, AMeshHasModesRolesAndConfigurationsOfItsOwn) {
    for (const char *name : {"--mode", "--role", "--node-conf"}) {
        try {
            readOptions({"--mesh", name, "RGW"});
            FAIL() << "accepted";
        } catch (const OptionError &error) {
            EXPECT_EQ(error.what(), "--mesh and " + std::string(name) +
                                        " do not go together; see ota-desk demo --help");
        }
    }
}

TEST(Roads, RoadsWithWaitsOfMinutesAreAlwaysFast) {
    for (const char *failure : {"server", "certificate", "disk"}) {
        EXPECT_TRUE(chooseRoad(readOptions({"--fail", failure})).alwaysFast) << failure;
    }
    EXPECT_FALSE(chooseRoad(readOptions({})).alwaysFast);
}

TEST(Options, TheRoleGoesWithTheMode) {
    EXPECT_EQ(readOptions({}).role, "Controller");
    EXPECT_EQ(readOptions({"--mode", "AP_Bridge"}).role, "Agent");
    EXPECT_FALSE(readOptions({"--mode", "AP_Bridge"}).gateway());
    EXPECT_TRUE(readOptions({"--mode", "AP_Bridge", "--role", "Controller"}).gateway());
}

TEST(Options, AMistakeNamesTheValuesAllowedAndTheHelp) {
    try {
        readOptions({"--mode", "RG"});
        FAIL() << "accepted";
    } catch (const OptionError &error) {
        EXPECT_STREQ(error.what(), "--mode is \"RG\": expected RGW|AP_Bridge; see "
                                   "ota-desk demo --help");
    }
}

TEST(Options, EveryMistakeIsRefused) {
    for (const std::vector<std::string> &arguments :
         std::vector<std::vector<std::string>>{{"--policy"},
                                               {"--policy", ""},
                                               {"--policy", "01"},
                                               {"--policy", "0|1"},
                                               {"--fail", "everything"},
                                               {"--role", ""},
                                               {"--role", "two\nlines"},
                                               {"--limit", "0"},
                                               {"--cut-power", "0"},
                                               {"--cut-power", "1x"},
                                               {"--limit", "10s"},
                                               {"--limit", "10000"},
                                               {"--unknown"},
                                               {"word"}}) {
        EXPECT_THROW(readOptions(arguments), OptionError) << arguments.back();
    }
}

} // namespace
