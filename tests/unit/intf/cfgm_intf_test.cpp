// SPDX-License-Identifier: MIT
// Device context: the node's mode, role and onboarding status, and what they amount to.
#include "agent_test.h"

#include "platform/nal.h"

using namespace ota::test;

namespace {

constexpr char kUnit[] = "intf/cfgm_intf";

class DeviceContext : public AgentTest {
  protected:
    int query() { return AGENT(ota_getWifiServiceObj)(mMode, mRole, &mOnboarding); }

    static Entries line(const std::string &body) {
        return both(kUnit, "ota_getWifiServiceObj", body);
    }

    static Entries untilRole(const std::string &modeLine, const std::string &mode) {
        return entries(line("Enter ota_getWifiServiceObj\n"), "nal_getWorkMode", modeLine,
                       line("nal_getWorkMode is successful, workMode = " + mode + "\n"),
                       "nal_getWorkRole");
    }

    static std::string modeIs(const std::string &mode) {
        return notice("ota_ext_intf", "ota_intf_getWorkMode",
                      "WorkMode is ok Value = " + mode + "\n");
    }

    static std::string roleIs(const std::string &role) {
        return notice("ota_ext_intf", "ota_intf_getWorkRole",
                      "WorkRole is ok Value = " + role + "\n");
    }

    char mMode[33] = {};
    char mRole[33] = {};
    int mOnboarding = 77;
};

TEST_F(DeviceContext, AsksForModeThenRoleThenOnboardingStatus) {
    node().onboardingStatus = 1;
    EXPECT_EQ(query(), 0);
    EXPECT_STREQ(mMode, "RGW");
    EXPECT_STREQ(mRole, "Agent");
    EXPECT_EQ(mOnboarding, 1);
    EXPECT_ENTRIES(journal().all(),
                   entries(untilRole(modeIs("RGW"), "RGW"), roleIs("Agent"),
                           line("nal_getWorkRole is successful, workRole = Agent \n"),
                           "nal_getRootOnBoardingStatus",
                           line("nal_getRootOnBoardingStatus is successful, onboardStatus = 1\n")));
}

TEST_F(DeviceContext, SucceedsWithAnEmptyModeWhereTheModeFails) {
    node().always["nal_getWorkMode"] = -1;
    EXPECT_EQ(query(), 0);
    EXPECT_STREQ(mMode, "");
    EXPECT_STREQ(mRole, "Agent");
    EXPECT_EQ(mOnboarding, 0);
    EXPECT_ENTRIES(
        journal().all(),
        entries(untilRole(error("ota_ext_intf", "ota_intf_getWorkMode", "WorkMode failed"), ""),
                roleIs("Agent"), line("nal_getWorkRole is successful, workRole = Agent \n"),
                "nal_getRootOnBoardingStatus",
                line("nal_getRootOnBoardingStatus is successful, onboardStatus = 0\n")));
}

TEST_F(DeviceContext, SucceedsWithAnEmptyRoleWhereTheRoleFails) {
    node().always["nal_getWorkRole"] = -1;
    EXPECT_EQ(query(), 0);
    EXPECT_STREQ(mRole, "");
    EXPECT_ENTRIES(journal().all(),
                   entries(untilRole(modeIs("RGW"), "RGW"),
                           error("ota_ext_intf", "ota_intf_getWorkRole", "WorkRole failed"),
                           line("nal_getWorkRole is successful, workRole =  \n"),
                           "nal_getRootOnBoardingStatus",
                           line("nal_getRootOnBoardingStatus is successful, onboardStatus = 0\n")));
}

TEST_F(DeviceContext, FailsWhereTheOnboardingStatusCannotBeHad) {
    node().always["nal_getRootOnBoardingStatus"] = 5;
    EXPECT_EQ(query(), -1);
    EXPECT_EQ(mOnboarding, 77);
    EXPECT_ENTRIES(
        journal().all(),
        entries(untilRole(modeIs("RGW"), "RGW"), roleIs("Agent"),
                line("nal_getWorkRole is successful, workRole = Agent \n"),
                "nal_getRootOnBoardingStatus",
                bothErrors(kUnit, "ota_getWifiServiceObj", "get of WIFISERVICEOBJECT failed,",
                           "get of WIFISERVICEOBJECT failed,\n")));
}

TEST_F(DeviceContext, TakesModesOf31Characters) {
    node().workMode = std::string(31, 'm');
    node().workRole = std::string(31, 'r');
    EXPECT_EQ(query(), 0);
    EXPECT_EQ(mMode, std::string(31, 'm'));
    EXPECT_EQ(mRole, std::string(31, 'r'));
}

using EffectiveMode = AgentTest;

TEST_F(EffectiveMode, IsTheGatewayForAGatewayInAnyRole) {
    EXPECT_STREQ(AGENT(ota_getMode)("RGW", "Agent"), "RGW");
    EXPECT_STREQ(AGENT(ota_getMode)("RGW", "Controller"), "RGW");
    EXPECT_STREQ(AGENT(ota_getMode)("RGW", ""), "RGW");
}

TEST_F(EffectiveMode, IsTheGatewayForABridgeThatControls) {
    EXPECT_STREQ(AGENT(ota_getMode)("AP_Bridge", "Controller"), "RGW");
}

TEST_F(EffectiveMode, IsTheBridgeForABridgeInAnyOtherRole) {
    for (const char *role : {"Agent", "controller", "Controller ", "Control", ""}) {
        EXPECT_STREQ(AGENT(ota_getMode)("AP_Bridge", role), "AP_Bridge") << role;
    }
}

TEST_F(EffectiveMode, IsTheVeryTextGivenForAnyOtherMode) {
    for (const char *mode : {"Repeater", "rgw", "RGW2", "AP_Bridge ", ""}) {
        EXPECT_EQ(AGENT(ota_getMode)(mode, "Controller"), mode);
    }
}

TEST_F(EffectiveMode, IsTheVeryTextGivenWhereModeOrRoleIsNull) {
    const char bridge[] = "AP_Bridge";
    EXPECT_EQ(AGENT(ota_getMode)(bridge, nullptr), bridge);
    EXPECT_EQ(AGENT(ota_getMode)(nullptr, "Controller"), nullptr);
    EXPECT_EQ(AGENT(ota_getMode)(nullptr, nullptr), nullptr);
}

TEST_F(EffectiveMode, IsDecidedWithoutALogLineOrACall) {
    AGENT(ota_getMode)("AP_Bridge", "Controller");
    EXPECT_ENTRIES(journal().all(), Entries{});
}

using PreferredActivationTime = AgentTest;

TEST_F(PreferredActivationTime, IsCopiedWithoutALogLine) {
    char text[32] = {};
    EXPECT_EQ(AGENT(ota_getOtaPrefActTime)(text), 0);
    EXPECT_STREQ(text, "03:30");
    EXPECT_ENTRIES(journal().all(), entries("nal_getSwAutoUpgradeInfo"));
}

TEST_F(PreferredActivationTime, MayHave31Characters) {
    node().activationTime = "03:30:00" + std::string(23, ' ');
    char text[32] = {};
    EXPECT_EQ(AGENT(ota_getOtaPrefActTime)(text), 0);
    EXPECT_EQ(text, node().activationTime);
}

TEST_F(PreferredActivationTime, LeavesTheDestinationWhereTheSettingsCannotBeRead) {
    node().always["nal_getSwAutoUpgradeInfo"] = 1;
    char text[32] = "04:00";
    EXPECT_EQ(AGENT(ota_getOtaPrefActTime)(text), -1);
    EXPECT_STREQ(text, "04:00");
    EXPECT_ENTRIES(journal().all(), entries("nal_getSwAutoUpgradeInfo",
                                            bothErrors(kUnit, "ota_getOtaPrefActTime",
                                                       "nal_getSwAutoUpgradeInfo failed\n",
                                                       "get of SWMGNTOBJECT failed,\n")));
}

TEST_F(PreferredActivationTime, IsCutTo31CharactersWhereThePlatformFillsItsRecord) {
    node().activationTime =
        "03:30:" + std::string(NAL_UPGRADE_INFO_SIZE - NAL_UPGRADE_INFO_TIME_OFFSET - 6, '0');
    char text[256];
    std::memset(text, '#', sizeof text);
    EXPECT_EQ(AGENT(ota_getOtaPrefActTime)(text), 0);
    EXPECT_EQ(text, node().activationTime.substr(0, 31));
    EXPECT_EQ(std::string(text + 32, sizeof text - 32), std::string(sizeof text - 32, '#'));
}

} // namespace
