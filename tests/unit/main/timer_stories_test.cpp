// SPDX-License-Identifier: MIT
// Several expiries in a row, and how one leaves the node for the next.
#include "stories.h"

using namespace ota::test;

namespace {

using TimerStories = StoryTest;

void expireReboot() { AGENT(otaSwAgentProcessRebootTimer)(); }
void expireDownloadStart() { AGENT(otaSwAgentProcessDownloadStartTimer)(); }
void checkCommit() { AGENT(otaSwAgentSWCommitStatus)(); }

void openOnboardingWindow() {
    setText(AGENT_VAR(swInfo).nxtMSVersion, "2.0");
    AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame) = 0;
}

Node onboardingNode() {
    Node node;
    node.onboardingStatus = 1;
    return node;
}

Entries activated() {
    return entries("nal_activatePassiveImage", "system echo 2.0 > log/ota_act_success",
                   signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10", "system /sbin/reboot");
}

TEST_P(TimerStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    Rows, TimerStories,
    testing::Values(
        Story{"TheWindowDefersOnlyOnce",
              onboardingNode(),
              openOnboardingWindow,
              {expireReboot, expireReboot},
              activated()},
        Story{"AFailedActivationMayBeTriedAgain",
              Node{},
              [] {
                  openOnboardingWindow();
                  node().results["nal_activatePassiveImage"] = {0, 1};
              },
              {expireReboot, expireReboot},
              entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_FAILED"), activated())},
        Story{"TheDeferralStaysUntilTheHostActs",
              onboardingNode(),
              openOnboardingWindow,
              {expireReboot, expireDownloadStart,
               [] { EXPECT_EQ(AGENT(ota_ISUpgradeDefered)(), 1); }},
              entries("system rm -f ./ota_agent_data")},
        Story{"TheNextBootConfirmsTheActivation",
              Node{},
              [] {
                  openOnboardingWindow();
                  shell().runsCommands = true;
              },
              {expireReboot, [] { node().currentVersion = "2.0"; }, checkCommit, checkCommit},
              entries(activated(), signal("OTA_SW_COMMIT_COMPLETE"),
                      "system rm -rf log/ota_act_success")}),
    storyName);

} // namespace
