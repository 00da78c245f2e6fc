// SPDX-License-Identifier: MIT
// What a start takes up where no activation was booted: story by story.
#include "service/state/resume.h"

#include "tests/unit/service/state/resume_stories.h"

namespace {

using service::BootFacts;
using service::Ledger;
using service::planResume;

class AStart : public testing::TestWithParam<Story> {};

TEST_P(AStart, TakesUpWhatWasKept) {
    const Story &story = GetParam();
    EXPECT_EQ(told(planResume(story.ledger, story.facts)), story.plan);
}

INSTANTIATE_TEST_SUITE_P(
    OfAnIdleNode, AStart,
    testing::Values(Story{"TheVeryFirst", Ledger{}, otherBoot(), "check"},
                    Story{"AfterABoot", withMemory(emptyLedger()), otherBoot(), "check"},
                    Story{"InTheSameBoot", withMemory(emptyLedger()), sameBoot(), "memory"},
                    Story{"WithAQueue",
                          queued({offer(1, 0), trigger(2)}, withMemory(emptyLedger())), otherBoot(),
                          "check queue #1 queue #2"},
                    Story{"WithAnExpiryInTheQueue",
                          queued({expiryOf("downloadRetryTimer")}, withMemory(emptyLedger())),
                          otherBoot(), "check memory queue downloadRetryTimer"}),
    storyName);

INSTANTIATE_TEST_SUITE_P(
    OfABrokenCall, AStart,
    testing::Values(
        Story{"NewImageInTheSameBoot", running(offer(1, 0)), sameBoot(),
              "memory redo #1 start 2 bank a"},
        Story{"NewImageAfterABoot", running(offer(1, 1)), otherBoot(),
              "check memory redo #1 start 2 bank a"},
        Story{"WriteOnlyAfterABoot", running(offer(1, 2)), otherBoot(),
              "check memory redo #1 start 2 bank a"},
        Story{"OnArrivalThatDidNotBoot", running(offer(1, 3)), otherBoot(),
              "check memory redo #1 start 2 bank a"},
        Story{"Trigger", running(trigger(1)), otherBoot(), "check memory redo #1 start 2 bank a"},
        Story{"ActivationTime", running(activationTime(1)), otherBoot(),
              "check memory redo #1 start 2 bank a"},
        Story{"ExpiryOfAWaitingOffer",
              runningOver(expiryOf("rebootTimer"), waiting(offer(1, 0), {})), otherBoot(),
              "check memory redo rebootTimer start 2 bank a waiting #1"},
        Story{"ExpiryOfTheWindowAfterABoot",
              runningOver(expiryOf("downloadStartTimer"), waiting(offer(1, 0), {})), otherBoot(),
              "check memory redo downloadStartTimer start 2 bank a waiting #1"},
        Story{"WithTheTimersFromBefore",
              runningOver(activationTime(2), waiting(offer(1, 0), {armed("rebootTimer", 1800)})),
              sameBoot(), "memory rebootTimer=2200000 redo #2 start 2 bank a waiting #1"},
        Story{"BeforeTheQueue", queued({offer(2, 1)}, running(offer(1, 0))), sameBoot(),
              "memory redo #1 start 2 bank a queue #2"},
        Story{"ActivatedButNotYetRebooted", running(offer(1, 1), true), sameBoot(),
              "memory redo #1 start 2 bank a activated"},
        Story{"OnArrivalActivatedButNotYetRebooted", running(offer(1, 3), true), sameBoot(),
              "memory redo #1 start 2 bank a activated"},
        Story{"AfterTwoCrashes", running(offer(1, 1), false, 3, 2), sameBoot(),
              "memory redo #1 start 4 bank a"},
        Story{"AfterManyPowerCuts", running(offer(1, 1), false, 9, 0), otherBoot(),
              "check memory redo #1 start 10 bank a"}),
    storyName);

INSTANTIATE_TEST_SUITE_P(
    OfACallThatCrashesAlways, AStart,
    testing::Values(
        Story{"NewImage", running(offer(1, 1), false, 3, 3), sameBoot(),
              "finished #1 hostCrashed memory"},
        Story{"NewImageAfterABoot", running(offer(1, 1), false, 3, 3), otherBoot(),
              "check finished #1 hostCrashed"},
        Story{"OrBreaksOffTenTimes", running(offer(1, 1), false, 10, 0), otherBoot(),
              "check finished #1 hostCrashed"},
        Story{"ExpiryTakesItsOfferWithIt",
              runningOver(expiryOf("rebootTimer"),
                          waiting(offer(1, 0), {armed("downloadRetryTimer", 1800)}), false, 3),
              sameBoot(), "finished #1 hostCrashed memory"},
        Story{"ExpiryWithoutAnOffer", running(expiryOf("rebootTimer"), false, 3, 3), sameBoot(),
              "finished rebootTimer hostCrashed memory"},
        Story{"TriggerLeavesTheWindow",
              runningOver(trigger(2), waiting(offer(1, 0), {armed("downloadStartTimer", 1800)}),
                          false, 3),
              sameBoot(), "finished #2 hostCrashed memory downloadStartTimer=2200000 waiting #1"},
        Story{"TriggerOfAnOfferThatNothingElseMoves",
              runningOver(trigger(2), waiting(offer(1, 0), {}), false, 3), sameBoot(),
              "finished #2 hostCrashed memory redo #1 start 1 bank a"},
        Story{"ActivationTimeLeavesTheSchedule",
              runningOver(activationTime(2), waiting(offer(1, 0), {armed("rebootTimer", 1800)}),
                          false, 3),
              sameBoot(), "finished #2 hostCrashed memory rebootTimer=2200000 waiting #1"},
        Story{"AfterItsActivationItWaitsForTheBoot", running(offer(1, 1), true, 3, 3), sameBoot(),
              "memory waiting #1 activated"},
        Story{"AfterItsActivationItTakesThePlaceOfAnOlderOffer",
              runningOver(offer(2, 1), waiting(offer(1, 0), {}), true, 3), sameBoot(),
              "finished #1 superseded memory waiting #2 activated"},
        Story{"ExpiryThatActivatedWaitsForTheBoot",
              runningOver(expiryOf("rebootTimer"), waiting(offer(1, 0), {}), true, 3), sameBoot(),
              "memory waiting #1 activated"},
        Story{"TriggerThatActivatedWaitsForTheBoot",
              runningOver(trigger(2), waiting(offer(1, 1), {}), true, 3), sameBoot(),
              "finished #2 done memory waiting #1 activated"},
        Story{"WithAQueueThatGoesOn", queued({offer(2, 1)}, running(offer(1, 1), false, 3, 3)),
              sameBoot(), "finished #1 hostCrashed memory queue #2"}),
    storyName);

INSTANTIATE_TEST_SUITE_P(
    OfAWaitingOffer, AStart,
    testing::Values(
        Story{"ScheduledInTheSameBoot", waiting(offer(1, 0), {armed("rebootTimer", 1800)}),
              sameBoot(), "memory rebootTimer=2200000 waiting #1"},
        Story{"ScheduledAfterABoot", waiting(offer(1, 0), {armed("rebootTimer", 1800)}),
              otherBoot(), "check memory rebootTimer=1707000 waiting #1"},
        Story{"ScheduledTimeMissedByTwoDays", waiting(offer(1, 0), {armed("rebootTimer", 1800)}),
              later(otherBoot(), 1700 + 2 * 86400), "check memory rebootTimer=86407000 waiting #1"},
        Story{"ScheduledWithTheClockAt1970", waiting(offer(1, 0), {armed("rebootTimer", 1800)}),
              at1970(otherBoot()), "check memory rebootTimer=1807000 waiting #1"},
        Story{"RetryInTheSameBoot", waiting(offer(1, 1), {armed("downloadRetryTimer", 120)}),
              sameBoot(), "memory downloadRetryTimer=520000 waiting #1"},
        Story{"RetryAfterABoot", waiting(offer(1, 1), {armed("downloadRetryTimer", 120)}),
              otherBoot(), "check memory downloadRetryTimer=27000 waiting #1"},
        Story{"RetryMissedByDays", waiting(offer(1, 1), {armed("downloadRetryTimer", 120)}),
              later(otherBoot(), 300'000), "check memory downloadRetryTimer=7000 waiting #1"},
        Story{"WindowInTheSameBoot", waiting(offer(1, 0), {armed("downloadStartTimer", 1800)}),
              sameBoot(), "memory downloadStartTimer=2200000 waiting #1"},
        Story{"WindowAfterABootIsOpenedAgain",
              waiting(offer(1, 0), {armed("downloadStartTimer", 1800)}), otherBoot(),
              "check memory redo #1 start 1 bank a"},
        Story{"WindowOfAnOfferOnArrivalThatDidNotActivate",
              waiting(offer(1, 3), {armed("downloadStartTimer", 1800)}), otherBoot(),
              "check memory redo #1 start 1 bank a"},
        Story{"WindowAndAnOlderScheduleAfterABoot",
              waiting(offer(1, 0), {armed("downloadStartTimer", 1800), armed("rebootTimer", 1800)}),
              otherBoot(), "check memory rebootTimer=1707000 redo #1 start 1 bank a"},
        Story{"WindowWithATriggerThatBrokeOffAfterABoot",
              runningOver(trigger(2), waiting(offer(1, 0), {armed("downloadStartTimer", 1800)})),
              otherBoot(), "check memory redo #1 start 1 bank a queue #2"},
        Story{"DeferredInTheSameBoot", waiting(offer(1, 0), {}, false, true), sameBoot(),
              "memory waiting #1 deferred"},
        Story{"DeferredAfterABoot", waiting(offer(1, 0), {}, false, true), otherBoot(),
              "check memory redo #1 start 1 bank a"},
        Story{"DeferredBeforeTheQueueAfterABoot",
              queued({offer(2, 1)}, waiting(offer(1, 0), {}, false, true)), otherBoot(),
              "check memory redo #1 start 1 bank a queue #2"},
        Story{"ThatNothingMovesAnyMore", waiting(offer(1, 0), {}), sameBoot(),
              "memory redo #1 start 1 bank a"},
        Story{"WhoseExpiryWaitsInTheQueue",
              queued({expiryOf("downloadRetryTimer")}, waiting(offer(1, 1), {})), otherBoot(),
              "check memory waiting #1 queue downloadRetryTimer"},
        Story{"ActivatedAndNotRebooted", waiting(offer(1, 1), {}, true), sameBoot(),
              "memory waiting #1 activated"}),
    storyName);

TEST(AGivenUpCall, SaysHowOftenTheHostCrashed) {
    const service::ResumePlan plan = planResume(running(offer(1, 1), false, 3, 3), sameBoot());
    EXPECT_EQ(plan.finished.at(0).reason, "the host process ended 3 times in it");
}

TEST(WhatWasTakenUp, IsTheLedgerOfThisBoot) {
    Ledger ledger = queued({offer(3, 1)}, waiting(offer(1, 0), {armed("rebootTimer", 1800)}));
    ledger.lastWord = "OTA_SW_SWAP_PASSIVE";
    const BootFacts facts = otherBoot();
    const Ledger now = service::resumed(ledger, planResume(ledger, facts), facts);
    EXPECT_EQ(now.bootId, "boot-2");
    EXPECT_EQ(now.nextTicket, ledger.nextTicket);
    EXPECT_EQ(now.lastWord, ledger.lastWord);
    EXPECT_EQ(now.queue, ledger.queue);
    EXPECT_EQ(now.waiting, ledger.waiting);
    EXPECT_EQ(now.timers.at(0).endBootMs, 1'707'000);
    EXPECT_EQ(now.timers.at(0).armedAt, kArmedAt) << "a later boot counts from the arming";
    EXPECT_EQ(now.timers.at(0).endsAt, kArmedAt + 1800);
    EXPECT_EQ(told(planResume(now, facts)), "memory rebootTimer=1707000 waiting #1 queue #3");
}

using Words = std::vector<std::string>;

TEST(TheFirstHostOfABoot, IsToldWhichActivationsTheNodeAwaitsTheCommitOf) {
    const auto optionsOf = [](const Ledger &ledger) {
        return service::hostOptions(ledger, otherBoot().bootId);
    };
    EXPECT_EQ(optionsOf(emptyLedger()), Words{});
    EXPECT_EQ(optionsOf(running(offer(1, 1), true)),
              (Words{"--activated", std::string("a:") + kNew}));
    EXPECT_EQ(optionsOf(running(offer(1, 1))), (Words{"--activated", std::string("a:") + kNew}))
        << "the power went before it was noted down";
    EXPECT_EQ(optionsOf(waiting(offer(1, 0), {}, true)),
              (Words{"--activated", std::string("a:") + kNew}));
    EXPECT_EQ(optionsOf(running(offer(1, 3), true)), Words{}) << "it leaves no mark";
    EXPECT_EQ(optionsOf(running(activationTime(1))), Words{}) << "it activates nothing";
    Ledger unknown = running(offer(1, 1), true);
    unknown.running->bank.clear();
    EXPECT_EQ(optionsOf(unknown), Words{});
}

TEST(ALaterHostOfABoot, LeavesTheCommitCheckAlone) {
    EXPECT_EQ(service::hostOptions(running(offer(1, 1), true), sameBoot().bootId),
              Words{"--no-commit-check"});
}

// The reader's bound is met by whatever a start makes of what it read.
TEST(AFullLedger, IsReadAgainBehindAStartThatAddsToIt) {
    Ledger ledger = emptyLedger();
    ledger.nextTicket = 200;
    for (std::size_t number = 0; number < Ledger::kMaxQueue + Ledger::kSpare; ++number) {
        ledger.queue.push_back(offer(number + 1, 1));
    }
    ledger.running.emplace().request = activationTime(101);
    ledger.waiting.emplace().offer = offer(100, 0);
    const service::ResumePlan plan = planResume(ledger, sameBoot());
    ASSERT_TRUE(plan.redo);
    EXPECT_EQ(plan.redo->request.ticket, 100U) << "nothing else would bring it on";
    ASSERT_EQ(plan.queue.size(), Ledger::kMaxQueue);
    EXPECT_EQ(plan.queue.front().ticket, 101U);
    EXPECT_EQ(plan.queue.back().ticket, Ledger::kMaxQueue - 1) << "the newest have to go";
    ASSERT_EQ(plan.finished.size(), Ledger::kSpare + 1);
    EXPECT_EQ(plan.finished.back().outcome, base::Outcome::queueFull);
    const auto again =
        service::parseLedger(service::printLedger(resumed(ledger, plan, sameBoot())));
    EXPECT_TRUE(again) << again.error().text;
}

} // namespace
