// SPDX-License-Identifier: MIT
// The passive bank already holds the offer: by each policy, and through the onboarding window.
#include "roads.h"

using namespace ota::test;

namespace {

using SwapStories = StoryTest;

// A step: the version in the passive bank is offered under this policy.
std::function<void()> swapUnder(int policy, const OtaLibConfig &config = kLaterPoll) {
    return [policy, config] { announce({.version = "0.9", .policy = policy}, config); };
}

std::function<void()> expectReboot(int scheduled, int window = 0) {
    return [scheduled, window] {
        EXPECT_EQ(AGENT_VAR(reboot_flag), scheduled);
        EXPECT_EQ(AGENT_VAR(g_dwldStartTimer), window);
        EXPECT_EQ(AGENT_VAR(g_firstTimeObardingWindowGivenPSNWBuildSame), window == 0 ? 1 : 0);
    };
}

void activateAtHalfPastTen() { moveActivationTo("10:30"); }
void activationsFail() { node().always["nal_activatePassiveImage"] = 0; }
void activationsWork() { node().always.erase("nal_activatePassiveImage"); }
void checkCommit() { AGENT(otaSwAgentSWCommitStatus)(); }

// The node comes up again with the two banks changed over.
void banksChangedOver() { std::swap(node().currentVersion, node().previousVersion); }

// 10:30 seen from five seconds past ten: the report is followed by a pause.
constexpr char kTimerToHalfPastTen[] = "startTimer 1795 rebootTimer";

const Entries kActivationFails =
    entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_FAILED"));

TEST_P(SwapStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    Policies, SwapStories,
    testing::Values(
        Story{"Policy0WaitsForTheActivationTime",
              Node{},
              {},
              {activateAtHalfPastTen, swapUnder(0), expectReboot(1), rebootTimerExpires},
              entries(swapAnnounced(), kTimerToHalfPastTen, activated("0.9"))},
        Story{"Policy1ActivatesAtOnceAndTheNextStartConfirmsIt",
              Node{},
              [] { shell().runsCommands = true; },
              {swapUnder(1), expectReboot(0), banksChangedOver, checkCommit},
              entries(swapAnnounced(), activated("0.9"), signal("OTA_SW_COMMIT_COMPLETE"),
                      "system rm -rf log/ota_act_success")},
        Story{"Policy1ReportsACommitThatFailed",
              Node{},
              [] { shell().runsCommands = true; },
              {swapUnder(1), checkCommit},
              entries(swapAnnounced(), activated("0.9"), signal("OTA_SW_COMMIT_FAILED"),
                      "system rm -rf log/ota_act_success")},
        Story{"Policy2SchedulesNothing",
              Node{},
              {},
              {activateAtHalfPastTen, swapUnder(2), expectReboot(0)},
              swapAnnounced()},
        Story{"Policy3ActivatesOnArrivalAndAnnouncesTheSwapBehindTheReboot",
              Node{},
              {},
              {swapUnder(3), expectReboot(0)},
              entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_REBOOT_COMPLETE"),
                      "sleep 20", kReboot, swapAnnounced())},
        Story{"AnUnknownPolicySchedulesNothing",
              Node{},
              {},
              {swapUnder(-1), expectReboot(0), swapUnder(4), expectReboot(0)},
              entries(swapAnnounced(), swapAnnounced())},
        Story{"TheSecondSwapUnderPolicy0StartsNoSecondTimer",
              Node{},
              {},
              {activateAtHalfPastTen, swapUnder(0), swapUnder(0), expectReboot(1)},
              entries(swapAnnounced(), kTimerToHalfPastTen, swapAnnounced())},
        Story{"AFailedActivationLetsTheNextOfferScheduleAgain",
              Node{},
              activationsFail,
              {activateAtHalfPastTen, swapUnder(0), swapUnder(1), expectReboot(0), activationsWork,
               swapUnder(0), expectReboot(1)},
              entries(swapAnnounced(), kTimerToHalfPastTen, swapAnnounced(), kActivationFails,
                      swapAnnounced(), "startTimer 1785 rebootTimer")},
        Story{"AFailureAtTheTimersExpiryDropsTheSchedule",
              Node{},
              activationsFail,
              {activateAtHalfPastTen, swapUnder(0), rebootTimerExpires, expectReboot(0)},
              entries(swapAnnounced(), kTimerToHalfPastTen, kActivationFails)},
        Story{"AnOfferThatDoesNotParseRepeatsTheSwap",
              Node{},
              {},
              {swapUnder(1), [] { announceText("{"); }},
              entries(swapAnnounced(), activated("0.9"), swapAnnounced(), activated("0.9"))},
        Story{"AnOfferOfOnlyAPolicyActsOnTheVersionBefore",
              Node{},
              {},
              {swapUnder(2), [] { announceText(R"({"policy":1})"); }},
              entries(swapAnnounced(), swapAnnounced(), activated("0.9"))}),
    storyName);

INSTANTIATE_TEST_SUITE_P(
    OnboardingWindow, SwapStories,
    testing::Values(
        Story{"RunsOutAndTheBankIsActivated",
              Node{},
              {},
              {swapUnder(2, kFirstPoll), expectReboot(0, 1), rebootTimerExpires, expectReboot(0)},
              entries(swapAnnounced(), "startTimer 1800 rebootTimer", activated("0.9"))},
        Story{"RunsOutDuringOnboardingAndTheActivationIsDeferred",
              onboardingGateway(),
              {},
              {swapUnder(0, kFirstPoll), rebootTimerExpires, expectReboot(0),
               [] { EXPECT_EQ(AGENT(ota_ISUpgradeDefered)(), 1); }},
              entries(swapAnnounced(), "startTimer 1800 rebootTimer")},
        Story{"DefersOnlyOnce",
              onboardingGateway(),
              {},
              {swapUnder(0, kFirstPoll), rebootTimerExpires, rebootTimerExpires},
              entries(swapAnnounced(), "startTimer 1800 rebootTimer", activated("0.9"))},
        Story{"RefusesOffersUntilItHasRunOut",
              onboardingGateway(),
              {},
              {swapUnder(1, kFirstPoll), swapUnder(1), [] { announce({}); }, expectReboot(0, 1),
               rebootTimerExpires, swapUnder(1)},
              entries(swapAnnounced(), "startTimer 1800 rebootTimer", swapAnnounced(),
                      activated("0.9"))},
        // The download's expiry lowers the flag that both windows share.
        Story{"IsOpenForOffersAgainBehindAStrayDownloadExpiry",
              extender("Controller"),
              {},
              {swapUnder(0, kFirstPoll), [] { node().onboardingStatus = 1; },
               downloadStartTimerExpires, swapUnder(2)},
              entries(swapAnnounced(), "startTimer 1800 rebootTimer", kRemoveAgentData,
                      swapAnnounced())}),
    storyName);

} // namespace
