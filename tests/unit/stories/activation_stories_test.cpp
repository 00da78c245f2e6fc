// SPDX-License-Identifier: MIT
// Activation times that come before, behind and between images.
#include "roads.h"

using namespace ota::test;

namespace {

using ActivationStories = StoryTest;

std::function<void()> offerUnder(int policy) {
    return [policy] { announce({.policy = policy}); };
}
std::function<void()> activateAt(const char *time) {
    return [time] { moveActivationTo(time); };
}

void activateWithoutATime() { moveActivationTo(""); }
void unreadableTime() { AGENT(otaSwmgnt_process_activation_time)("soon", nullptr); }

Node preferringOneOClock() {
    Node node;
    node.activationTime = "13:00";
    return node;
}

// The reboot timer, moved.
Entries moved(int seconds) {
    return entries("stopTimer rebootTimer",
                   "startTimer " + std::to_string(seconds) + " rebootTimer");
}

// A further image: written, but the timer that runs is left alone.
const Entries kWrittenBehindATimer = entries(downloadedAndWritten(), kRemoveSumFile, kFallBack);

TEST_P(ActivationStories, Holds) { play(); }

INSTANTIATE_TEST_SUITE_P(
    Rows, ActivationStories,
    testing::Values(
        Story{"AGatewayTakesThePreferredTimeUntilOneIsSent",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {offerUnder(0)},
              entries(downloadedAndWritten(), rebootScheduled(10800))},
        Story{"ATimeThatWasSentStands",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {activateAt("10:30"), offerUnder(0)},
              entries(downloadedAndWritten(), rebootScheduled(1800))},
        Story{"AnEmptyTimeKeepsTheOneReadAtTheStart",
              preferringOneOClock(),
              [] {
                  downloadsHaveTheRightSum();
                  node().activationTime = "14:00"; // not asked for once a signal came
              },
              {activateWithoutATime, offerUnder(0)},
              entries(downloadedAndWritten(), rebootScheduled(10800))},
        Story{"TheTimeIsMovedAndMovedAgainAndTheBankActivated",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {offerUnder(0), activateAt("10:30"), activateAt("12:00:30"), rebootTimerExpires},
              entries(downloadedAndWritten(), rebootScheduled(10800), moved(1800), moved(7230),
                      activated("4QZ-2.0"))},
        Story{"ATimeThatHasPassedIsTomorrows",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {offerUnder(0), activateAt("09:30"), activateAt("10:00:00")},
              entries(downloadedAndWritten(), rebootScheduled(10800), moved(84600), moved(86400))},
        Story{"AnUnreadableTimeRepeatsThePreviousOne",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {activateAt("10:30"), offerUnder(0), unreadableTime},
              entries(downloadedAndWritten(), rebootScheduled(1800), moved(1800))},
        Story{"ASecondImageUnderPolicy0StartsNoSecondTimer",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {offerUnder(0), offerUnder(0), [] { EXPECT_EQ(AGENT_VAR(reboot_flag), 1); }},
              entries(downloadedAndWritten(), rebootScheduled(10800), kWrittenBehindATimer)},
        Story{"TheTimerMovesForASecondImageToo",
              preferringOneOClock(),
              downloadsHaveTheRightSum,
              {offerUnder(0), offerUnder(0), activateAt("10:30")},
              entries(downloadedAndWritten(), rebootScheduled(10800), kWrittenBehindATimer,
                      moved(1800))},
        Story{"AFailedActivationLeavesNothingToMove",
              preferringOneOClock(),
              [] {
                  downloadsHaveTheRightSum();
                  node().always["nal_activatePassiveImage"] = 0;
              },
              {offerUnder(0), rebootTimerExpires, activateAt("10:30"), offerUnder(0)},
              entries(downloadedAndWritten(), rebootScheduled(10800), "nal_activatePassiveImage",
                      signal("OTA_SW_ACTIVATION_FAILED"), downloadedAndWritten(),
                      rebootScheduled(1800))},
        Story{"Policy1DoesNotWaitForATime",
              Node{},
              downloadsHaveTheRightSum,
              {activateAt("10:30"), offerUnder(1)},
              entries(downloadedAndWritten(), activated("4QZ-2.0"), kFallBack)},
        Story{"Policy2OnlyWrites",
              Node{},
              downloadsHaveTheRightSum,
              {offerUnder(2), activateAt("10:30")},
              entries(downloadedAndWritten(), signal("OTA_SW_ACTIVATION_COMPLETE"), "sleep 10",
                      kFallBack)},
        Story{"Policy3DownloadsBehindTheRebootOnArrival",
              Node{},
              downloadsHaveTheRightSum,
              {offerUnder(3)},
              entries("nal_activatePassiveImage", signal("OTA_SW_ACTIVATION_REBOOT_COMPLETE"),
                      "sleep 20", kReboot, downloadedAndWritten(), kFallBack)}),
    storyName);

} // namespace
