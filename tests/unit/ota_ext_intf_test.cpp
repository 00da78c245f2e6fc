// SPDX-License-Identifier: MIT
// The two wrappers around the node's work mode and work role.
#include "agent_test.h"

using namespace ota::test;

namespace {

using Wrappers = AgentTest;

TEST_F(Wrappers, TellTheWorkModeToThePlatformLoggerOnly) {
    char mode[33] = {};
    EXPECT_EQ(AGENT(ota_intf_getWorkMode)(mode), 1);
    EXPECT_STREQ(mode, "RGW");
    EXPECT_ENTRIES(journal().all(),
                   entries("nal_getWorkMode", notice("ota_ext_intf", "ota_intf_getWorkMode",
                                                     "WorkMode is ok Value = RGW\n")));
}

TEST_F(Wrappers, TellTheWorkRoleToThePlatformLoggerOnly) {
    char role[33] = {};
    EXPECT_EQ(AGENT(ota_intf_getWorkRole)(role), 1);
    EXPECT_STREQ(role, "Agent");
    EXPECT_ENTRIES(journal().all(),
                   entries("nal_getWorkRole", notice("ota_ext_intf", "ota_intf_getWorkRole",
                                                     "WorkRole is ok Value = Agent\n")));
}

TEST_F(Wrappers, ReturnOneEvenWhereTheWorkModeFails) {
    node().always["nal_getWorkMode"] = -1;
    char mode[33] = "untouched";
    EXPECT_EQ(AGENT(ota_intf_getWorkMode)(mode), 1);
    EXPECT_STREQ(mode, "untouched");
    EXPECT_ENTRIES(journal().all(),
                   entries("nal_getWorkMode",
                           error("ota_ext_intf", "ota_intf_getWorkMode", "WorkMode failed")));
}

TEST_F(Wrappers, ReturnOneEvenWhereTheWorkRoleFails) {
    node().always["nal_getWorkRole"] = 1;
    char role[33] = "untouched";
    EXPECT_EQ(AGENT(ota_intf_getWorkRole)(role), 1);
    EXPECT_STREQ(role, "untouched");
    EXPECT_ENTRIES(journal().all(),
                   entries("nal_getWorkRole",
                           error("ota_ext_intf", "ota_intf_getWorkRole", "WorkRole failed")));
}

} // namespace
