// SPDX-License-Identifier: MIT
// The agent's memory that a start restores: as it was in the same boot, mended after another.
#include "service/state/resume.h"

#include "tests/unit/service/state/kept_requests.h"

#include <gtest/gtest.h>

namespace {

using service::Ledger;
using service::planResume;

const std::map<std::string, int> kEverythingRaised{
    {"g_dwldStartTimer", 1}, {"g_dwldRetryTimer", 1},   {"g_mobileTriggerExpire", 1},
    {"g_mAppRebootTrig", 1}, {"g_ISDeferedUpgrade", 1}, {"reboot_flag", 1}};
constexpr const char *kWindowBeforeSwap = "g_firstTimeObardingWindowGivenPSNWBuildSame";

Ledger waitingFor(std::vector<service::ArmedTimer> timers, bool deferred = false) {
    Ledger ledger = emptyLedger();
    ledger.memory = memoryWith(kEverythingRaised);
    ledger.waiting = service::WaitingOffer{offer(1, 0), "a", false, deferred};
    ledger.timers = std::move(timers);
    return ledger;
}

Ledger interrupted(const service::Request &request, const std::string &memory, int crashes = 0) {
    Ledger ledger = emptyLedger();
    ledger.memory = memory;
    ledger.running = service::Running{request, 1, crashes, "a", false};
    return ledger;
}

TEST(RestoredMemory, IsUntouchedInTheSameBoot) {
    const Ledger ledger = waitingFor({armed("rebootTimer", 1800)});
    EXPECT_EQ(planResume(ledger, sameBoot()).memory, ledger.memory);
}

TEST(RestoredMemory, OfAnIdleNodeEndsWithTheBoot) {
    Ledger ledger = emptyLedger();
    ledger.memory = memoryWith(kEverythingRaised);
    EXPECT_EQ(planResume(ledger, sameBoot()).memory, ledger.memory);
    EXPECT_EQ(planResume(ledger, otherBoot()).memory, "");
}

// The count belongs to what is restored: an agent that starts as it is has failed in nothing.
TEST(RestoredMemory, HasFailedAsOftenAsTheAgentHad) {
    Ledger ledger = waitingFor({armed("downloadRetryTimer", 120)});
    ledger.failedDownloads = 4;
    EXPECT_EQ(planResume(ledger, sameBoot()).failedDownloads, 4);
    EXPECT_EQ(planResume(ledger, otherBoot()).failedDownloads, 4);
    EXPECT_EQ(resumed(ledger, planResume(ledger, otherBoot()), otherBoot()).failedDownloads, 4);
    ledger.waiting.reset();
    ledger.timers.clear();
    EXPECT_EQ(planResume(ledger, sameBoot()).failedDownloads, 4);
    EXPECT_EQ(planResume(ledger, otherBoot()).failedDownloads, 0);
}

TEST(RestoredMemory, KeepsAfterABootOnlyTheFlagsOfTimersThatRun) {
    const std::string scheduled =
        planResume(waitingFor({armed("rebootTimer", 1800)}), otherBoot()).memory;
    EXPECT_EQ(numberIn(scheduled, "reboot_flag"), 1);
    EXPECT_EQ(numberIn(scheduled, "g_dwldStartTimer"), 0) << "further offers would be refused";
    EXPECT_EQ(numberIn(scheduled, "g_dwldRetryTimer"), 0);
    EXPECT_EQ(numberIn(scheduled, "g_ISDeferedUpgrade"), 0);
    EXPECT_EQ(numberIn(scheduled, "g_mAppRebootTrig"), 1) << "the user's time stands";

    const std::string retry =
        planResume(waitingFor({armed("downloadRetryTimer", 120)}), otherBoot()).memory;
    EXPECT_EQ(numberIn(retry, "reboot_flag"), 0) << "no reboot would ever be scheduled again";
    EXPECT_EQ(numberIn(retry, "g_dwldRetryTimer"), 1);
}

TEST(RestoredMemory, KeepsTheFlagsOfAnExpiryThatWaitsInTheQueue) {
    Ledger ledger = waitingFor({});
    ledger.queue = {expiryOf("rebootTimer")};
    EXPECT_EQ(numberIn(planResume(ledger, otherBoot()).memory, "reboot_flag"), 1);
}

TEST(RestoredMemory, KeepsTheWindowBeforeASwapWithItsTimer) {
    Ledger ledger = waitingFor({armed("rebootTimer", 1800)});
    ledger.memory = memoryWith({{kWindowBeforeSwap, 0}, {"g_dwldStartTimer", 1}});
    const service::ResumePlan plan = planResume(ledger, otherBoot());
    EXPECT_EQ(numberIn(plan.memory, kWindowBeforeSwap), 0);
    EXPECT_EQ(numberIn(plan.memory, "g_dwldStartTimer"), 1);
}

TEST(RestoredMemory, TellsAWindowFromATimeOfDay) {
    Ledger ledger = waitingFor({armed("rebootTimer", 1800)});
    service::BootFacts facts = otherBoot();
    facts.wallNow = kArmedAt + 1800 + 60;
    EXPECT_EQ(planResume(ledger, facts).timers.at(0).endBootMs, 7'000 + (86'400 - 60) * 1000);
    ledger.memory = memoryWith({{kWindowBeforeSwap, 0}});
    EXPECT_EQ(planResume(ledger, facts).timers.at(0).endBootMs, 7'000) << "a window just ends";
    ledger.memory.clear();
    EXPECT_EQ(planResume(ledger, facts).timers.at(0).endBootMs, 7'000 + (86'400 - 60) * 1000);
}

TEST(RestoredMemory, LetsAnOfferInThatIsOfferedAgain) {
    for (const Ledger &ledger :
         {waitingFor({armed("downloadStartTimer", 1800)}), waitingFor({}, true)}) {
        const service::ResumePlan plan = planResume(ledger, otherBoot());
        ASSERT_TRUE(plan.redo);
        for (const char *const flag : {"g_dwldStartTimer", "g_dwldRetryTimer", "g_ISDeferedUpgrade",
                                       "g_mobileTriggerExpire", "reboot_flag"}) {
            EXPECT_EQ(numberIn(plan.memory, flag), 0) << flag;
        }
    }
}

TEST(RestoredMemory, LosesTheFlagsOfACallThatIsGivenUp) {
    Ledger ledger = interrupted(expiryOf("rebootTimer"), memoryWith({{"reboot_flag", 1}}), 3);
    ledger.waiting = service::WaitingOffer{offer(1, 0), "a", false, false};
    const service::ResumePlan plan = planResume(ledger, sameBoot());
    EXPECT_EQ(numberIn(plan.memory, "reboot_flag"), 0) << "no reboot would ever be scheduled again";
}

TEST(RestoredMemory, OfARedoneCallIsTheOneThatItStartedFrom) {
    for (const std::string &memory :
         {memoryWith(), memoryWith({}, "", "02:00"), memoryWith({}, "01:00", "02:00")}) {
        EXPECT_EQ(planResume(interrupted(offer(1, 0), memory), sameBoot()).memory, memory);
        EXPECT_EQ(planResume(interrupted(offer(1, 0), memory), otherBoot()).memory, memory);
    }
}

// The agent would take it for an old one, and do with it what the whole call would not have done.
TEST(ARedoneCall, BeginsWithoutTheImageThatItWrote) {
    const auto beginsAnew = [](const service::Request &request, bool held, const std::string &now) {
        Ledger ledger = interrupted(request, memoryWith());
        ledger.running->held = held;
        service::BootFacts facts = sameBoot();
        facts.passiveVersion = now;
        return planResume(ledger, facts).beginAnew;
    };
    EXPECT_TRUE(beginsAnew(offer(1, 0), false, kNew));
    EXPECT_FALSE(beginsAnew(offer(1, 0), true, kNew)) << "it was there before";
    EXPECT_FALSE(beginsAnew(offer(1, 0), false, kOld)) << "not its own";
    EXPECT_FALSE(beginsAnew(offer(1, 0), false, "")) << "not whole";
    EXPECT_TRUE(beginsAnew(offer(1, 2), false, kNew)) << "else it is never told to be written";
    EXPECT_TRUE(beginsAnew(offer(1, 3), false, kNew)) << "it was not there on its arrival";
    EXPECT_FALSE(beginsAnew(offer(1, 1), false, kNew)) << "it is activated at once in any case";
    EXPECT_FALSE(beginsAnew(expiryOf("downloadStartTimer"), false, kNew)) << "downloads anyway";
}

TEST(ARedoneCall, BeginsWithTheImageThatItActivated) {
    Ledger ledger = interrupted(offer(1, 0), memoryWith());
    ledger.running->activated = true;
    service::BootFacts facts = sameBoot();
    facts.passiveVersion = kNew;
    EXPECT_FALSE(planResume(ledger, facts).beginAnew);
}

TEST(ARedoneCall, OfAnOfferThatStoodKnowsWhatTheBankHeldThen) {
    Ledger ledger = waitingFor({});
    service::BootFacts facts = sameBoot();
    EXPECT_FALSE(planResume(ledger, facts).redo->held);
    facts.passiveVersion = kNew;
    EXPECT_TRUE(planResume(ledger, facts).redo->held);
    EXPECT_FALSE(planResume(ledger, facts).beginAnew);
}

TEST(RestoredMemory, OfAWaitingOfferHasTheTimeThatTheAgentHad) {
    Ledger ledger = waitingFor({armed("rebootTimer", 1800)});
    ledger.memory = memoryWith({}, "", "02:00");
    EXPECT_EQ(activationTimeIn(planResume(ledger, sameBoot()).memory), "");
}

TEST(RestoredMemory, IsNoneAfterABootIntoTheActivatedBank) {
    Ledger ledger = interrupted(offer(1, 1), memoryWith(kEverythingRaised));
    ledger.running->activated = true;
    EXPECT_EQ(planResume(ledger, bootedTheOther()).memory, "");
}

TEST(RestoredMemory, StaysEmptyWhereNoneWasKept) {
    EXPECT_EQ(planResume(interrupted(offer(1, 1), ""), sameBoot()).memory, "");
}

} // namespace
