// SPDX-License-Identifier: MIT
// The window of a gateway's first poll: run out, triggered, deferred, refused.
#include "roads.h"

using namespace ota::test;

namespace {

using OnboardingStories = StoryTest;

const Offer kOffer;

void offerOnFirstPoll() { announce(kOffer, kFirstPoll); }
void offerOnLaterPoll() { announce(kOffer, kLaterPoll); }
void triggerFromTheApp() { mobileTrigger(); }
void onboardingEnds() { node().onboardingStatus = 0; }
void onboardingBegins() { node().onboardingStatus = 1; }

void expectFlags(int window, int expired, int deferred) {
    EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), window);
    EXPECT_EQ(AGENT_VAR(g_mobileTriggerExpire), expired);
    EXPECT_EQ(AGENT_VAR(g_ISDeferedUpgrade), deferred);
    EXPECT_EQ(AGENT(ota_ISUpgradeDefered)(), deferred);
}

// 03:30 of the next day, seen from ten o'clock.
Entries installedForTheNight() { return entries(downloadedAndWritten(), rebootScheduled(63000)); }

const Entries kTriggered = entries("system rm /tmp/ota_agent_data", "stopTimer downloadStartTimer");

TEST_P(OnboardingStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    Rows, OnboardingStories,
    testing::Values(
        Story{"TheWindowRunsOutAndTheImageIsInstalled",
              Node{},
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, [] { expectFlags(1, 0, 0); }, downloadStartTimerExpires,
               [] { expectFlags(0, 1, 0); }},
              entries(windowOpened(), kRemoveAgentData, installedForTheNight())},
        Story{"TheWindowRunsOutDuringOnboardingAndTheDownloadIsDeferred",
              onboardingGateway(),
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, downloadStartTimerExpires, [] { expectFlags(0, 1, 1); }},
              entries(windowOpened(), kRemoveAgentData)},
        Story{"TheNextPollInstallsWhatWasDeferred",
              onboardingGateway(),
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, downloadStartTimerExpires, onboardingEnds, offerOnLaterPoll,
               [] { expectFlags(0, 1, 1); }},
              entries(windowOpened(), kRemoveAgentData, installedForTheNight())},
        Story{"TheUserTriggersTheDownload",
              Node{},
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, triggerFromTheApp, [] { expectFlags(1, 0, 0); }},
              entries(windowOpened(), kTriggered, installedForTheNight())},
        Story{"TheUserTriggersTheDownloadEvenDuringOnboarding",
              Node{},
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, onboardingBegins, triggerFromTheApp},
              entries(windowOpened(), kTriggered, installedForTheNight())},
        Story{"TheUserIsTooLate",
              onboardingGateway(),
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, downloadStartTimerExpires, triggerFromTheApp},
              entries(windowOpened(), kRemoveAgentData, "system rm /tmp/ota_agent_data")},
        Story{"AnotherPollIsRefusedUntilTheWindowHasRunOut",
              onboardingGateway(),
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, offerOnFirstPoll, offerOnLaterPoll, downloadStartTimerExpires,
               offerOnFirstPoll},
              entries(windowOpened(), kRemoveAgentData, windowOpened())},
        // The trigger leaves the window's flag raised; only an expiry lowers it.
        Story{"AfterATriggerOffersAreRefusedUntilTheRebootTimerRunsOut",
              Node{},
              downloadsHaveTheRightSum,
              {offerOnFirstPoll, triggerFromTheApp, offerOnLaterPoll, offerOnFirstPoll,
               [] { expectFlags(1, 0, 0); }, rebootTimerExpires, [] { expectFlags(0, 0, 0); }},
              entries(windowOpened(), kTriggered, installedForTheNight(), activated("4QZ-2.0"))},
        Story{"WithoutAMacThereIsNoWindow",
              Node{},
              [] { node().always["ioctl"] = -1; },
              {offerOnFirstPoll, [] { expectFlags(0, 0, 0); }},
              Entries{}}),
    storyName);

} // namespace
