// SPDX-License-Identifier: MIT
// What a start takes up after an activation that booted, or did not: story by story.
#include "service/state/resume.h"

#include "tests/unit/service/state/resume_stories.h"

namespace {

using service::BootFacts;
using service::planResume;

class AStartAfterABoot : public testing::TestWithParam<Story> {};

TEST_P(AStartAfterABoot, TakesUpWhatWasKept) {
    const Story &story = GetParam();
    EXPECT_EQ(told(planResume(story.ledger, story.facts)), story.plan);
}

INSTANTIATE_TEST_SUITE_P(AfterTheActivatedBankBooted, AStartAfterABoot,
                         testing::Values(Story{"OfARunningOffer", running(offer(1, 1), true),
                                               bootedTheOther(),
                                               "check decided #1 by word or done"},
                                         Story{"OfAnOfferOnArrival", running(offer(1, 3), true),
                                               bootedTheOther(),
                                               "check decided #1 by word or activated"},
                                         Story{"OfAnOfferOnArrivalWithAnyVersion",
                                               running(offer(1, 3), true),
                                               bootedTheOther(kOtherImage),
                                               "check decided #1 by word or activated"},
                                         Story{"OfAnOfferOnArrivalWithoutANote",
                                               running(offer(1, 3)), bootedTheOther(kOtherImage),
                                               "check decided #1 by word or activated"},
                                         Story{"OfAnOfferOnArrivalThatCrashedThreeTimes",
                                               running(offer(1, 3), true, 3, 3), bootedTheOther(),
                                               "check decided #1 by word or activated"},
                                         Story{"WithAnotherVersionThanOffered",
                                               running(offer(1, 1), true),
                                               bootedTheOther(kOtherImage),
                                               "check decided #1 by word or commitFailed"},
                                         Story{"WithoutANoteButWithTheVersion",
                                               running(offer(1, 1)), bootedTheOther(),
                                               "check decided #1 by word or done"},
                                         Story{"OfAWaitingOffer", waiting(offer(1, 0), {}, true),
                                               bootedTheOther(),
                                               "check decided #1 by word or done"},
                                         Story{"OfAnExpiry",
                                               runningOver(expiryOf("rebootTimer"),
                                                           waiting(offer(1, 0), {}), true),
                                               bootedTheOther(),
                                               "check decided #1 by word or done"},
                                         Story{"OfAnExpiryWithoutANote",
                                               runningOver(expiryOf("rebootTimer"),
                                                           waiting(offer(1, 0), {})),
                                               bootedTheOther(),
                                               "check decided #1 by word or done"},
                                         Story{"OfAnExpiryWithoutAnOffer",
                                               running(expiryOf("rebootTimer"), true),
                                               bootedTheOther(), "check"},
                                         Story{"OfATrigger",
                                               runningOver(trigger(2), waiting(offer(1, 1), {}),
                                                           true),
                                               bootedTheOther(),
                                               "check decided #1 by word or done finished #2 done"},
                                         Story{"TakesTimersAndExpiriesWithIt",
                                               queued({expiryOf("rebootTimer"), activationTime(3)},
                                                      waiting(offer(1, 1),
                                                              {armed("rebootTimer", 1800)}, true)),
                                               bootedTheOther(),
                                               "check decided #1 by word or done queue #3"},
                                         Story{
                                             "EndsAnOlderOffer",
                                             runningOver(offer(2, 1),
                                                         waiting(offer(1, 0),
                                                                 {armed("rebootTimer", 1800)}),
                                                         true),
                                             bootedTheOther(),
                                             "check decided #2 by word or done finished #1 superseded"},
                                         Story{
                                             "OfTheWaitingOfferWhileANewOneHadBegun",
                                             runningOver(offer(2, 1, kOtherImage),
                                                         waiting(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or done memory redo #2 start 2 bank b"},
                                         Story{
                                             "OfTheWaitingOfferWhileOneOnArrivalHadBegun",
                                             runningOver(offer(2, 3, kOtherImage),
                                                         waiting(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or done finished #2 activated"},
                                         Story{"OfTheWaitingOfferWhileATriggerHadBegun",
                                               runningOver(trigger(2),
                                                           waiting(offer(1, 0), {}, true)),
                                               bootedTheOther(),
                                               "check decided #1 by word or done finished #2 done"},
                                         Story{
                                             "OfTheWaitingOfferWhileAnActivationTimeHadBegun",
                                             runningOver(activationTime(2),
                                                         waiting(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or done memory redo #2 start 2 bank b"},
                                         Story{
                                             "DropsTheSameOfferOnArrivalFromTheQueue",
                                             queued({offer(2, 3),
                                                     offer(3, 3, kOtherImage), offer(4, 1)},
                                                    running(offer(1, 1), true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or done finished #2 notNeeded queue #3 queue #4"},
                                         Story{
                                             "WithoutABootIdOfItsOwn", running(offer(1, 1), true),
                                             [] {
                                                 BootFacts facts = bootedTheOther();
                                                 facts.bootId = "boot-1";
                                                 return facts;
                                             }(),
                                             "decided #1 done"}),
                         storyName);

INSTANTIATE_TEST_SUITE_P(
    AfterABootThatPassedTheActivatedBankOver, AStartAfterABoot,
    testing::Values(Story{"OfARunningOffer", running(offer(1, 1), true), otherBoot(),
                          "check decided #1 by word or commitFailed"},
                    Story{"OfAnOfferOnArrival", running(offer(1, 3), true), otherBoot(),
                          "check decided #1 by word or commitFailed"},
                    Story{"OfAWaitingOffer", waiting(offer(1, 0), {}, true), otherBoot(),
                          "check decided #1 by word or commitFailed"},
                    Story{"OfAWaitingOfferWhileOneOnArrivalHadBegun",
                          runningOver(offer(2, 3), waiting(offer(1, 0), {}, true)), otherBoot(),
                          "check decided #1 by word or commitFailed memory redo #2 start 2 bank a"},
                    Story{"OrNobodyKnowsWhichBankRuns", running(offer(1, 3), true),
                          withoutBootState(otherBoot()),
                          "check decided #1 by word or interruptedNothingKnown"},
                    Story{"AndNobodyKnowsTheBankOfAnOfferNotActivated", running(offer(1, 1)),
                          withoutBootState(otherBoot()), "check memory redo #1 start 2 bank a"}),
    storyName);

// Also where the power went before anybody noted the activation: the node remembers the trial.
INSTANTIATE_TEST_SUITE_P(
    AfterTheOldBankTookOverFromAFailedTrial, AStartAfterABoot,
    testing::Values(
        Story{"OfARunningOffer", running(offer(1, 1), true), failed(otherBoot(), 1, "health"),
              "check decided #1 by word or commitFailed"},
        Story{"OfARunningOfferWithoutANote", running(offer(1, 1)), failed(otherBoot(), 1, "health"),
              "check decided #1 by word or commitFailed"},
        Story{"OfARunningOfferWithoutANoteWhoseAttemptsWereUsedUp", running(offer(1, 1)),
              failed(otherBoot(), 1, "boot"), "check decided #1 by word or commitFailed"},
        Story{"OfARunningOfferThatBrokeOffManyTimes", running(offer(1, 1), false, 10),
              failed(otherBoot(), 1, "boot"), "check decided #1 by word or commitFailed"},
        Story{"OfAWaitingOffer", waiting(offer(1, 0), {}, true), failed(otherBoot(), 1, "boot"),
              "check decided #1 by word or commitFailed"},
        Story{"OfAnExpiryWithoutANote",
              runningOver(expiryOf("rebootTimer"),
                          waiting(offer(1, 0), {armed("rebootTimer", 1800)})),
              failed(otherBoot(), 1, "health"), "check decided #1 by word or commitFailed"},
        Story{"OfATriggerWithoutANote", runningOver(trigger(2), waiting(offer(1, 1), {})),
              failed(otherBoot(), 1, "health"),
              "check decided #1 by word or commitFailed finished #2 done"},
        Story{"OnceMore", failedBefore(running(offer(1, 1)), 1), failed(otherBoot(), 2, "health"),
              "check decided #1 by word or commitFailed"},
        Story{"WhereNobodyKnowsWhichBankRuns", running(offer(1, 1), true),
              failed(withoutBootState(otherBoot()), 1, "health"),
              "check decided #1 by word or commitFailed"},
        Story{"ALaterOfferOnArrivalStays", queued({offer(2, 3, kOld)}, running(offer(1, 1))),
              failed(otherBoot(), 1, "health"),
              "check decided #1 by word or commitFailed queue #2"}),
    storyName);

// A trial of long ago, or of another version, is not the kept offer's.
INSTANTIATE_TEST_SUITE_P(
    AfterABootWithAnOldFailure, AStartAfterABoot,
    testing::Values(
        Story{"ABrokenDownloadIsDoneAgain", failedBefore(running(offer(1, 1)), 1),
              failed(otherBoot(), 1, "health"), "check memory redo #1 start 2 bank a"},
        Story{"OfAnotherVersionABrokenDownloadIsDoneAgain", running(offer(1, 1)),
              failed(otherBoot(), 1, "health", kOtherImage), "check memory redo #1 start 2 bank a"},
        Story{"OneThatWasForgottenIsNone", failedBefore(running(offer(1, 1)), 1), otherBoot(),
              "check memory redo #1 start 2 bank a"},
        Story{"TheActivatedBankThatBootedIsOnTrial", failedBefore(running(offer(1, 1), true), 1),
              failed(bootedTheOther(), 1, "health"), "check decided #1 by word or done"},
        Story{"AScheduleGoesOn",
              failedBefore(waiting(offer(1, 0), {armed("rebootTimer", 1800)}), 2),
              failed(otherBoot(), 2, "boot"), "check memory rebootTimer=1707000 waiting #1"}),
    storyName);

TEST(ARedo, KeepsTheFailuresThatItBeganWith) {
    const service::Ledger broken = failedBefore(running(offer(1, 1)), 2);
    EXPECT_EQ(planResume(broken, failed(otherBoot(), 2, "boot")).redo->failedTrials, 2);
    const service::Ledger retry =
        failedBefore(waiting(offer(1, 0), {armed("downloadStartTimer", 1800)}), 2);
    EXPECT_EQ(planResume(retry, failed(otherBoot(), 2, "boot")).redo->failedTrials, 2);
}

// The boot loader fell back from a damaged bank: nothing that was kept explains it.
INSTANTIATE_TEST_SUITE_P(
    AfterABootIntoTheOtherBankForAnotherReason, AStartAfterABoot,
    testing::Values(
        Story{"TheBrokenOfferIsDoneAgain", running(offer(1, 1)), bootedTheOther(kOtherImage),
              "check memory redo #1 start 2 bank b"},
        Story{"AScheduleIsNotKept", waiting(offer(1, 0), {armed("rebootTimer", 1800)}),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b"},
        Story{"ARetryIsAnOfferAgain", waiting(offer(1, 0), {armed("downloadRetryTimer", 120)}),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b"},
        Story{"AnExpiryIsNotDoneAgain",
              runningOver(expiryOf("rebootTimer"), waiting(offer(1, 0), {})),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b"},
        Story{"AnExpiryInTheQueueIsNotDone",
              queued({expiryOf("rebootTimer"), offer(2, 1)}, waiting(offer(1, 0), {})),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b queue #2"},
        Story{"ATriggerWaitsForItsOffer", runningOver(trigger(2), waiting(offer(1, 0), {})),
              bootedTheOther(kOtherImage), "check memory redo #2 start 2 bank b waiting #1"}),
    storyName);

TEST(ADecidedOffer, SaysWhatRunsWhereTheCommitCheckSaysNothing) {
    EXPECT_EQ(planResume(running(offer(1, 1), true), bootedTheOther()).withoutWordReason,
              "bank b was activated and booted with 4QZ-2.0.0");
    EXPECT_EQ(
        planResume(running(offer(1, 1), true), otherBoot()).withoutWordReason,
        "bank a with 4QZ-1.0.0 runs as before: the boot loader passed the activated bank over");
    EXPECT_EQ(planResume(running(offer(1, 1)), failed(otherBoot(), 1, "health")).withoutWordReason,
              "4QZ-2.0.0 failed its trial (health): bank a with 4QZ-1.0.0 runs again");
}

} // namespace
