// SPDX-License-Identifier: MIT
// What a start takes up after an activation that booted, or did not: story by story.
#include "host/daemon/keep/resume.h"

#include "tests/unit/daemon/keep/resume_stories.h"

namespace {

using otad::Facts;
using otad::planTakeUp;

class AStartAfterABoot : public testing::TestWithParam<Story> {};

TEST_P(AStartAfterABoot, TakesUpWhatWasKept) {
    const Story &story = GetParam();
    EXPECT_EQ(told(planTakeUp(story.ledger, story.facts)), story.plan);
}

INSTANTIATE_TEST_SUITE_P(AfterTheActivatedBankBooted, AStartAfterABoot,
                         testing::Values(Story{"OfARunningOffer", running(offer(1, 1), true),
                                               bootedTheOther(),
                                               "check decided #1 by word or activated"},
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
                                               "check decided #1 by word or activated"},
                                         Story{"OfAStandingOffer", standing(offer(1, 0), {}, true),
                                               bootedTheOther(),
                                               "check decided #1 by word or activated"},
                                         Story{"OfAnExpiry",
                                               runningOver(expiryOf("rebootTimer"),
                                                           standing(offer(1, 0), {}), true),
                                               bootedTheOther(),
                                               "check decided #1 by word or activated"},
                                         Story{"OfAnExpiryWithoutANote",
                                               runningOver(expiryOf("rebootTimer"),
                                                           standing(offer(1, 0), {})),
                                               bootedTheOther(),
                                               "check decided #1 by word or activated"},
                                         Story{"OfAnExpiryWithoutAnOffer",
                                               running(expiryOf("rebootTimer"), true),
                                               bootedTheOther(), "check"},
                                         Story{
                                             "OfATrigger",
                                             runningOver(trigger(2), standing(offer(1, 1), {}),
                                                         true),
                                             bootedTheOther(),
                                             "check decided #1 by word or activated finished #2 done"},
                                         Story{"TakesTimersAndExpiriesWithIt",
                                               queued(
                                                   {expiryOf("rebootTimer"), activationTime(3)},
                                                   standing(offer(1, 1), {armed("rebootTimer", 1800)}, true)),
                                               bootedTheOther(),
                                               "check decided #1 by word or activated queue #3"},
                                         Story{
                                             "EndsAnOlderOffer",
                                             runningOver(offer(2, 1), standing(offer(1, 0), {armed("rebootTimer", 1800)}),
                                                         true),
                                             bootedTheOther(),
                                             "check decided #2 by word or activated finished #1 superseded"},
                                         Story{
                                             "OfTheStandingOfferWhileANewOneHadBegun",
                                             runningOver(offer(2, 1, kOtherImage),
                                                         standing(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or activated memory redo #2 start 2 bank b"},
                                         Story{
                                             "OfTheStandingOfferWhileOneOnArrivalHadBegun",
                                             runningOver(offer(2, 3, kOtherImage),
                                                         standing(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or activated finished #2 activated"},
                                         Story{
                                             "OfTheStandingOfferWhileATriggerHadBegun",
                                             runningOver(trigger(2),
                                                         standing(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or activated finished #2 done"},
                                         Story{
                                             "OfTheStandingOfferWhileAnActivationTimeHadBegun",
                                             runningOver(activationTime(2),
                                                         standing(offer(1, 0), {}, true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or activated memory redo #2 start 2 bank b"},
                                         Story{
                                             "DropsTheSameOfferOnArrivalFromTheQueue",
                                             queued({offer(2, 3),
                                                     offer(3, 3, kOtherImage), offer(4, 1)},
                                                    running(offer(1, 1), true)),
                                             bootedTheOther(),
                                             "check decided #1 by word or activated finished #2 notNeeded queue #3 queue #4"},
                                         Story{
                                             "WithoutABootIdOfItsOwn", running(offer(1, 1), true),
                                             [] {
                                                 Facts facts = bootedTheOther();
                                                 facts.bootId = "boot-1";
                                                 return facts;
                                             }(),
                                             "decided #1 activated"}),
                         storyName);

INSTANTIATE_TEST_SUITE_P(
    AfterABootThatPassedTheActivatedBankOver, AStartAfterABoot,
    testing::Values(Story{"OfARunningOffer", running(offer(1, 1), true), otherBoot(),
                          "check decided #1 by word or commitFailed"},
                    Story{"OfAnOfferOnArrival", running(offer(1, 3), true), otherBoot(),
                          "check decided #1 by word or commitFailed"},
                    Story{"OfAStandingOffer", standing(offer(1, 0), {}, true), otherBoot(),
                          "check decided #1 by word or commitFailed"},
                    Story{"OfAStandingOfferWhileOneOnArrivalHadBegun",
                          runningOver(offer(2, 3), standing(offer(1, 0), {}, true)), otherBoot(),
                          "check decided #1 by word or commitFailed memory redo #2 start 2 bank a"},
                    Story{"OrNobodyKnowsWhichBankRuns", running(offer(1, 3), true),
                          withoutBootState(otherBoot()),
                          "check decided #1 by word or interruptedNothingKnown"},
                    Story{"AndNobodyKnowsTheBankOfAnOfferNotActivated", running(offer(1, 1)),
                          withoutBootState(otherBoot()), "check memory redo #1 start 2 bank a"}),
    storyName);

// The boot loader fell back from a damaged bank: nothing that was kept explains it.
INSTANTIATE_TEST_SUITE_P(
    AfterABootIntoTheOtherBankForAnotherReason, AStartAfterABoot,
    testing::Values(
        Story{"TheBrokenOfferIsDoneAgain", running(offer(1, 1)), bootedTheOther(kOtherImage),
              "check memory redo #1 start 2 bank b"},
        Story{"AScheduleIsNotKept", standing(offer(1, 0), {armed("rebootTimer", 1800)}),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b"},
        Story{"ARetryIsAnOfferAgain", standing(offer(1, 0), {armed("downloadRetryTimer", 120)}),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b"},
        Story{"AnExpiryIsNotDoneAgain",
              runningOver(expiryOf("rebootTimer"), standing(offer(1, 0), {})),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b"},
        Story{"AnExpiryInTheQueueIsNotDone",
              queued({expiryOf("rebootTimer"), offer(2, 1)}, standing(offer(1, 0), {})),
              bootedTheOther(kOtherImage), "check memory redo #1 start 1 bank b queue #2"},
        Story{"ATriggerWaitsForItsOffer", runningOver(trigger(2), standing(offer(1, 0), {})),
              bootedTheOther(kOtherImage), "check memory redo #2 start 2 bank b standing #1"}),
    storyName);

TEST(ADecidedOffer, SaysWhatRunsWhereTheCommitCheckSaysNothing) {
    EXPECT_EQ(planTakeUp(running(offer(1, 1), true), bootedTheOther()).withoutWordReason,
              "bank b was activated and booted with 4QZ-2.0.0");
    EXPECT_EQ(
        planTakeUp(running(offer(1, 1), true), otherBoot()).withoutWordReason,
        "bank a with 4QZ-1.0.0 runs as before: the boot loader passed the activated bank over");
}

} // namespace
