// SPDX-License-Identifier: MIT
// What the node says of itself, and how it follows its configuration at run time.
#include "fixture.h"
#include "platform/nal.h"

#include <array>
#include <filesystem>

namespace {

class Node : public OnANode {};

TEST_F(Node, PutsSerialAndModelWhereTheAgentReadsThem) {
    open();
    std::array<char, NAL_NODE_INFO_SIZE> record{};
    ASSERT_EQ(nal_getNodeInfo(record.data()), 0);
    std::array<char, NAL_NODE_INFO_SIZE> expected{};
    std::string("SN42").copy(&expected[83], 4);
    std::string("GW-1000").copy(&expected[148], 7);
    EXPECT_EQ(record, expected);
}

TEST_F(Node, PutsThePreferredTimeWhereTheAgentReadsIt) {
    open();
    std::array<char, NAL_UPGRADE_INFO_SIZE> record{};
    ASSERT_EQ(nal_getSwAutoUpgradeInfo(record.data()), 0);
    std::array<char, NAL_UPGRADE_INFO_SIZE> expected{};
    std::string("02:30").copy(&expected[2051], 5);
    EXPECT_EQ(record, expected);
}

TEST_F(Node, NamesItsDirectories) {
    open();
    EXPECT_STREQ(nal_getTmpDirectory(), "tmp");
    EXPECT_STREQ(nal_getConfigsDirectory(), "configs");
    EXPECT_STREQ(nal_getLogsDirectory(), "logs");
    EXPECT_STREQ(nal_getHIECertifcatePath(), "ca.pem");
}

TEST_F(Node, FollowsModeRoleOnboardingAndTimeAsTheFileChanges) {
    open();
    const char *const tmpBefore = nal_getTmpDirectory();
    std::string text = configWith("work_mode", "work_mode = AP_Bridge");
    text.replace(text.find("Controller"), 10, "Agent");
    text.replace(text.find("onboarding = 0"), 14, "onboarding = 1");
    text.replace(text.find("02:30"), 5, "03:45:10");
    writeText(configPath_, text);
    char mode[NAL_MODE_WIDTH] = "";
    char role[NAL_MODE_WIDTH] = "";
    int onboarding = 0;
    std::array<char, NAL_UPGRADE_INFO_SIZE> record{};
    EXPECT_EQ(nal_getWorkMode(mode), 0);
    EXPECT_EQ(nal_getWorkRole(role), 0);
    EXPECT_EQ(nal_getRootOnBoardingStatus(&onboarding), 0);
    EXPECT_EQ(nal_getSwAutoUpgradeInfo(record.data()), 0);
    EXPECT_STREQ(mode, "AP_Bridge");
    EXPECT_STREQ(role, "Agent");
    EXPECT_EQ(onboarding, 1);
    EXPECT_STREQ(&record[NAL_UPGRADE_INFO_TIME_OFFSET], "03:45:10");
    EXPECT_EQ(nal_getTmpDirectory(), tmpBefore);
}

TEST_F(Node, KeepsTheLastGoodValuesAndSaysSoOnce) {
    open();
    char mode[NAL_MODE_WIDTH] = "";
    const std::string missing = errorsOf([&] {
        std::filesystem::remove(configPath_);
        EXPECT_EQ(nal_getWorkMode(mode), 0);
        EXPECT_EQ(nal_getWorkMode(mode), 0);
    });
    EXPECT_STREQ(mode, "RGW");
    EXPECT_EQ(missing, "error: nal: " + configPath_ +
                           ": cannot be opened: No such file or directory; the last good values "
                           "stay in use\n");
    const std::string broken = errorsOf([&] {
        writeText(configPath_, configWith("onboarding", "onboarding = 7"));
        EXPECT_EQ(nal_getWorkMode(mode), 0);
        EXPECT_EQ(nal_getWorkMode(mode), 0);
    });
    EXPECT_STREQ(mode, "RGW");
    EXPECT_EQ(broken, "error: nal: " + configPath_ +
                          ":6: [node] onboarding is \"7\": expected 0 or 1; the last good values "
                          "stay in use\n");
    EXPECT_EQ(errorsOf([&] {
                  writeText(configPath_, configWith("work_mode", "work_mode = AP_Bridge"));
                  EXPECT_EQ(nal_getWorkMode(mode), 0);
              }),
              "");
    EXPECT_STREQ(mode, "AP_Bridge");
}

TEST_F(Node, SaysWhichVersionsItCannotTellAndLeavesTheTextAlone) {
    open();
    writeText(statePath_, "");
    char version[NAL_VERSION_WIDTH] = "before";
    const std::string errors = errorsOf([&] {
        EXPECT_NE(nal_getCurSwVersion(version), 0);
        const int previous = nal_getPrevSwVersion(version);
        EXPECT_NE(previous, 0);
        EXPECT_NE(previous, NAL_NO_PREVIOUS_IMAGE);
    });
    EXPECT_STREQ(version, "before");
    EXPECT_EQ(errors.find("error: nal: " + statePath_ + ": the boot state is cut"), 0U) << errors;
}

TEST_F(Node, PrefersTheSettingsThatWereChangedAtRunTime) {
    open();
    char mode[NAL_MODE_WIDTH] = "";
    char role[NAL_MODE_WIDTH] = "";
    const auto ask = [&] {
        EXPECT_EQ(nal_getWorkMode(mode), 0);
        EXPECT_EQ(nal_getWorkRole(role), 0);
    };
    std::filesystem::create_directories(in("configs/otad"));
    const std::string overlay = in("configs/otad/settings.ini");
    EXPECT_EQ(errorsOf([&] {
                  writeText(overlay, "[node]\nwork_mode = AP_Bridge\n");
                  ask();
                  EXPECT_STREQ(mode, "AP_Bridge");
                  EXPECT_STREQ(role, "Controller") << "what was not changed comes from node.conf";
                  writeText(configPath_, configWith("work_role", "work_role = Agent"));
                  ask();
                  EXPECT_STREQ(mode, "AP_Bridge");
                  EXPECT_STREQ(role, "Agent");
                  std::filesystem::remove(overlay);
                  ask();
                  EXPECT_STREQ(mode, "RGW") << "no file, no change";
              }),
              "");
}

TEST_F(Node, FallsBackOnItsConfigurationWhereTheChangedSettingsAreDamagedAndSaysSoOnce) {
    open();
    char mode[NAL_MODE_WIDTH] = "";
    int onboarding = 0;
    std::filesystem::create_directories(in("configs/otad"));
    writeText(in("configs/otad/settings.ini"), "[node]\nwork_mode = AP_Bridge\nonboarding = 2\n");
    EXPECT_EQ(
        errorsOf([&] {
            EXPECT_EQ(nal_getWorkMode(mode), 0);
            EXPECT_EQ(nal_getRootOnBoardingStatus(&onboarding), 0);
        }),
        "error: nal: configs/otad/settings.ini:3: [node] onboarding is \"2\": expected 0 or 1; "
        "the values of the configuration hold; change a setting to write it anew\n");
    EXPECT_STREQ(mode, "RGW");
    EXPECT_EQ(onboarding, 0);
}

} // namespace
