// SPDX-License-Identifier: MIT
// Nodes that leave the work or the news to others: the offload, and the extender's reports.
#include "roads.h"

using namespace ota::test;

namespace {

using OffloadStories = StoryTest;
using ExtenderStories = StoryTest;

const Offer kOffer;
const Offer kAtOnce{.policy = 1};

void offload() { announce(kOffer, kOffload); }
void offloadAtOnce() { announce(kAtOnce, kOffload); }
void gatewayRefuses() { node().always["nal_setSwmgntFileServerInfo"] = -5; }

void expectSilence() {
    EXPECT_TRUE(node().signals.empty());
    EXPECT_EQ(AGENT_VAR(reboot_flag), 0);
}

TEST_P(OffloadStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    Rows, OffloadStories,
    testing::Values(Story{"TheGatewayIsToldTheActivationTime",
                          extender(),
                          {},
                          {[] { moveActivationTo("10:30"); }, offload, expectSilence},
                          handedToGateway(kOffer, "10:30")},
                    Story{"TheGatewayIsToldNoTimeWhereItIsToActivateAtOnce",
                          extender(),
                          {},
                          {[] { moveActivationTo("10:30"); }, offloadAtOnce, expectSilence},
                          handedToGateway(kAtOnce, "")},
                    Story{"AGatewayThatRefusesIsNotAskedAgain",
                          extender(),
                          gatewayRefuses,
                          {offload, expectSilence},
                          handedToGateway(kOffer, "")},
                    Story{"APendingRetryIsStoppedFirst",
                          Node{},
                          [] { curl().responseCode = 404; },
                          {[] { announce(kOffer); }, offload},
                          entries(transfer(), "curl_easy_getinfo CURLINFO_RESPONSE_CODE",
                                  kRetryIn30Minutes, transferEnds(), kMarkFailure,
                                  "stopTimer downloadRetryTimer", handedToGateway(kOffer, ""))},
                    Story{"TheWindowComesFirstAndItsEndHandsOver",
                          Node{},
                          {},
                          {[] {
                               announce(kOffer, {1, 0, 1});
                           },
                           downloadStartTimerExpires},
                          entries(windowOpened(), kRemoveAgentData, handedToGateway(kOffer, ""))},
                    Story{"TheUsersTriggerHandsOver",
                          Node{},
                          {},
                          {[] {
                               announce(kOffer, {1, 0, 1});
                           },
                           [] { mobileTrigger(); }},
                          entries(windowOpened(), "system rm /tmp/ota_agent_data",
                                  "stopTimer downloadStartTimer", handedToGateway(kOffer, ""))},
                    Story{"AVersionThatRunsAlreadyIsReportedAndNotHandedOver",
                          Node{},
                          {},
                          {[] { announce({.version = "1.0"}, kOffload); }},
                          entries(signal("NO_OTA_SW_UPGRADE"))},
                    // The offload is the driver's alone: a swap is still the node's own.
                    Story{"ASwapIsNotHandedOver",
                          Node{},
                          {},
                          {[] { announce({.version = "0.9", .policy = 1}, kOffload); }},
                          entries(swapAnnounced(), activated("0.9"))},
                    Story{"TheNextOfferMayBeDownloadedHere",
                          Node{},
                          downloadsHaveTheRightSum,
                          {offload, [] { announce({.policy = 4}); }},
                          entries(handedToGateway(kOffer, ""), downloadedAndWritten(), kFallBack)}),
    storyName);

// What a report of an extender does on the bus and at the root.
Entries forwarded(const char *word) { return entries(signal(word), kForwarded); }

void expectWholeNotifications() {
    ASSERT_EQ(node().notifications.size(), node().signals.size());
    for (const Notification &sent : node().notifications) {
        EXPECT_EQ(sent.dataLen, std::strlen(sent.config.c_str()) + 1);
    }
}

TEST_P(ExtenderStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    Rows, ExtenderStories,
    testing::Values(
        Story{"EveryReportIsForwardedToTheRoot",
              extender(),
              {},
              {[] { announce({.version = "1.0"}); },
               [] { announce({.version = "0.9", .policy = 1}); }, expectWholeNotifications},
              entries(forwarded("NO_OTA_SW_UPGRADE"), forwarded("OTA_SW_SWAP_PASSIVE"), "sleep 5",
                      "nal_activatePassiveImage", "system echo 0.9 > log/ota_act_success",
                      forwarded("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10", kReboot)},
        Story{"NeitherTheBusNorTheRootStopsAnActivation",
              extender(),
              [] {
                  node().always["evbusSendSignal"] = -1;
                  node().always["nwa_sendNotificationToRoot"] = -1;
              },
              {[] { announce({.version = "0.9", .policy = 3}); }},
              entries("nal_activatePassiveImage", forwarded("OTA_SW_ACTIVATION_REBOOT_COMPLETE"),
                      "sleep 20", kReboot, forwarded("OTA_SW_SWAP_PASSIVE"), "sleep 5")},
        Story{"ABridgeThatActsAsControllerReportsOnTheBusOnly",
              extender("Controller"),
              {},
              {[] { announce({.version = "1.0"}); },
               [] { EXPECT_TRUE(node().notifications.empty()); }},
              entries(signal("NO_OTA_SW_UPGRADE"))},
        Story{"AnExtenderDownloadsInItsFirstPollAndActivatesAtTheStoredTime",
              extender(),
              downloadsHaveTheRightSum,
              {[] { announce({}, kFirstPoll); }, rebootTimerExpires},
              entries(downloadedAndWritten(), rebootScheduled(63000), "nal_activatePassiveImage",
                      "system echo 4QZ-2.0 > log/ota_act_success",
                      forwarded("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10", kReboot)},
        Story{"AnExtenderSwapsInItsFirstPollWithoutAWindow",
              extender(),
              {},
              {[] { announce({.version = "0.9", .policy = 2}, kFirstPoll); },
               [] { EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), 0); }},
              entries(forwarded("OTA_SW_SWAP_PASSIVE"), "sleep 5")}),
    storyName);

} // namespace
