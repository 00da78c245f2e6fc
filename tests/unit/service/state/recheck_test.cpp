// SPDX-License-Identifier: MIT
// What was kept and would not be let in today ends, with its reason, and takes its own along.
#include "service/state/recheck.h"

#include "base/json.h"
#include "base/lib_config.h"
#include "tests/unit/service/state/kept_requests.h"
#include "tests/unit/service/state/resume_stories.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using base::Outcome;
using service::Judge;
using service::Request;
using service::ResumePlan;
using testing::HasSubstr;

constexpr const char *kMac = "02:00:5E:10:00:01";

std::string descriptorOf(const std::string &version, const std::string &url, const char *mac) {
    return R"({"model":"GW-1000","nxtMSVersion":")" + version + R"(","fileServerURL":")" + url +
           R"(","checksum":")" + std::string(32, '0') + R"(","mac":")" + mac + R"(","policy":0})";
}

std::string descriptor(const std::string &version = kNew,
                       const std::string &url = "https://files.example/image") {
    return descriptorOf(version, url, kMac);
}

Judge today() { return {{"GW-1000", "SN1", kMac, 30}, {}}; }

Judge withFloor() {
    Judge judge = today();
    judge.rules.lowestVersion = kOtherImage;
    return judge;
}

// Whatever it says, as a file could hold it.
Request keptOffer(const std::string &text, std::uint64_t ticket = 1) {
    const base::Json event = base::message({{"event", service::kNewImage}, {"descriptor", text}});
    base::add(event.get(), "config", base::printLibConfig({}));
    return {ticket, service::kNewImage, base::printed(event.get()), kNew, 0};
}

Request keptTime(const std::string &record) {
    return {2, service::kActivationTime,
            base::printed(
                base::message({{"event", service::kActivationTime}, {"record", record}}).get()),
            "", 0};
}

std::string memoryOf(const std::string &image, const std::string &rebootTime = "03:30") {
    std::string text =
        memoryWith({{"reboot_flag", 1}, {"g_mAppRebootTrig", 1}}, "04:15", rebootTime);
    const std::string empty = R"({"nxtMSVersion":""})";
    return text.replace(text.find(empty), empty.size(), image);
}

ResumePlan waitingPlan(const Request &offered, const std::string &memory) {
    ResumePlan plan;
    plan.waiting = service::WaitingOffer{offered, "a", false};
    plan.timers = {armed("rebootTimer", 1800)};
    plan.queue = {expiryOf("downloadRetryTimer"), trigger(7)};
    plan.memory = memory;
    return plan;
}

service::Running broken(const Request &request) {
    service::Running running;
    running.request = request;
    running.starts = 2;
    return running;
}

ResumePlan redoPlan(const Request &request, const std::string &memory = memoryWith()) {
    ResumePlan plan;
    plan.redo = broken(request);
    plan.memory = memory;
    return plan;
}

// How the only request that ended did, and with which words.
void expectEnd(const ResumePlan &plan, std::uint64_t ticket, Outcome outcome, const char *words) {
    ASSERT_EQ(plan.finished.size(), 1U);
    EXPECT_EQ(plan.finished[0].request.ticket, ticket);
    EXPECT_EQ(plan.finished[0].outcome, outcome) << plan.finished[0].reason;
    EXPECT_THAT(plan.finished[0].reason, HasSubstr(words));
}

TEST(AStartRechecks, AndLeavesWhatIsLegalAsItIs) {
    ResumePlan plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor()));
    plan.redo = broken(expiryOf("rebootTimer"));
    const ResumePlan before = plan;
    service::recheck(plan, today());
    EXPECT_EQ(told(plan), told(before));
    EXPECT_EQ(plan.waiting, before.waiting);
    EXPECT_EQ(plan.redo, before.redo);
    EXPECT_EQ(plan.memory, before.memory);
    EXPECT_FALSE(plan.takeBack);
    EXPECT_TRUE(plan.dropped.empty());
}

TEST(AStartRechecks, TheCallThatBrokeOff) {
    struct Row {
        std::string text;
        Outcome outcome;
    };
    const std::string shell = "4QZ;reboot";
    for (const Row &row :
         {Row{descriptor(shell), Outcome::versionMalformed},
          Row{descriptor(kNew, "http://files.example/image"), Outcome::plainHttpForbidden},
          Row{descriptorOf(kNew, "https://h", "02:00:5E:10:00:02"), Outcome::wrongMac},
          Row{"{}", Outcome::keyMissing}, Row{"[1]", Outcome::descriptorNotOneObject}}) {
        ResumePlan plan = redoPlan(keptOffer(row.text));
        service::recheck(plan, today());
        EXPECT_FALSE(plan.redo) << row.text;
        EXPECT_TRUE(plan.takeBack) << row.text;
        expectEnd(plan, 1, row.outcome, "");
    }
}

TEST(AStartRechecks, ByTheRulesOfNow) {
    ResumePlan plan = redoPlan(keptOffer(descriptor()));
    service::recheck(plan, withFloor());
    expectEnd(plan, 1, Outcome::versionBelowFloor, "under the configured lowest version");

    Judge judge = today();
    judge.rules.refusedVersions = {{kNew, "failed its trial"}};
    plan = redoPlan(keptOffer(descriptor()));
    service::recheck(plan, judge);
    expectEnd(plan, 1, Outcome::versionFailedTrial, "failed its trial");

    judge = today();
    judge.node.model = "GW-2000";
    plan = redoPlan(keptOffer(descriptor()));
    service::recheck(plan, judge);
    expectEnd(plan, 1, Outcome::wrongModel, "GW-2000");
}

TEST(AStartRechecks, VersionAndPolicyThatStandBesideTheOffer) {
    Request request = keptOffer(descriptor());
    request.version = "4QZ-9";
    request.policy = 3;
    ResumePlan plan = redoPlan(request);
    service::recheck(plan, today());
    ASSERT_TRUE(plan.redo);
    EXPECT_EQ(plan.redo->request.version, kNew);
    EXPECT_EQ(plan.redo->request.policy, 0);
}

TEST(AStartRechecks, TheEventAgainstItsKind) {
    Request request = keptOffer(descriptor());
    request.kind = service::kActivationTime;
    ResumePlan plan = redoPlan(request);
    service::recheck(plan, today());
    expectEnd(plan, 1, Outcome::keyMistyped, "is kept as");

    request = keptOffer(descriptor());
    request.event = R"({"event":"new-image","descriptor":"{}"})";
    plan = redoPlan(request);
    service::recheck(plan, today());
    expectEnd(plan, 1, Outcome::keyMistyped, "config");
}

TEST(AStartRechecks, ATriggerAndAnActivationTimeWithoutTouchingTheOffer) {
    ResumePlan plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor()));
    plan.redo = broken(keptTime(R"({"actTime":"3;reboot"})"));
    service::recheck(plan, today());
    expectEnd(plan, 2, Outcome::timeMalformed, "3;reboot");
    EXPECT_FALSE(plan.takeBack);
    EXPECT_TRUE(plan.waiting);
    EXPECT_EQ(plan.timers.size(), 1U);

    Request odd = trigger(3);
    odd.event = R"({"event":"mobile-trigger","newswavailflag":"1"})";
    plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor()));
    plan.redo = broken(odd);
    service::recheck(plan, today());
    expectEnd(plan, 3, Outcome::keyMistyped, "newswavailflag");
    EXPECT_TRUE(plan.waiting);
}

TEST(AStartRechecks, TheWaitingOfferAndTakesItsOwnAlong) {
    ResumePlan plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor()));
    plan.redo = broken(expiryOf("rebootTimer"));
    service::recheck(plan, withFloor());
    expectEnd(plan, 1, Outcome::versionBelowFloor, kNew);
    EXPECT_TRUE(plan.takeBack);
    EXPECT_FALSE(plan.waiting);
    EXPECT_FALSE(plan.redo) << "it was the offer's timer";
    EXPECT_TRUE(plan.timers.empty());
    ASSERT_EQ(plan.queue.size(), 1U);
    EXPECT_EQ(plan.queue.front().ticket, 7U);
}

TEST(AStartRechecks, TheMemoryAndKeepsTheTimeThatWasAccepted) {
    ResumePlan plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor("4QZ`reboot`")));
    plan.redo = broken(trigger(3));
    service::recheck(plan, today());
    ASSERT_EQ(plan.finished.size(), 2U);
    EXPECT_EQ(plan.finished[0].outcome, Outcome::versionMalformed);
    EXPECT_THAT(plan.finished[0].reason, HasSubstr("what the agent remembered"));
    EXPECT_EQ(plan.finished[1].request.ticket, 3U) << "it would download what is remembered";
    EXPECT_THAT(plan.memory, Not(HasSubstr("reboot`")));
    EXPECT_EQ(numberIn(plan.memory, "reboot_flag"), 0);
    EXPECT_EQ(activationTimeIn(plan.memory), "04:15");
    EXPECT_EQ(numberIn(plan.memory, "g_mAppRebootTrig"), 1);
}

TEST(AStartRechecks, TheTimesInTheMemory) {
    for (const std::string &memory :
         {memoryOf(descriptor(), "$(reboot)"), memoryWith({}, "99:99")}) {
        ResumePlan plan = waitingPlan(keptOffer(descriptor()), memory);
        service::recheck(plan, today());
        expectEnd(plan, 1, Outcome::timeMalformed, "what the agent remembered");
        EXPECT_EQ(plan.memory, "");
    }
}

TEST(AStartRechecks, AMemoryThatNobodyWaitsFor) {
    ResumePlan plan;
    plan.memory = memoryOf(descriptor());
    service::recheck(plan, withFloor());
    EXPECT_TRUE(plan.finished.empty());
    ASSERT_EQ(plan.dropped.size(), 1U);
    EXPECT_EQ(plan.dropped[0].outcome, Outcome::versionBelowFloor);
    EXPECT_FALSE(plan.takeBack);
    EXPECT_EQ(activationTimeIn(plan.memory), "04:15");
    EXPECT_THAT(plan.memory, Not(HasSubstr(kNew)));
}

TEST(AStartRechecks, TheNamesOfTimers) {
    ResumePlan plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor()));
    plan.timers.push_back(armed("x;reboot", 1));
    plan.redo = broken(expiryOf("y;reboot"));
    service::recheck(plan, today());
    EXPECT_TRUE(plan.finished.empty());
    ASSERT_EQ(plan.dropped.size(), 2U);
    EXPECT_FALSE(plan.redo);
    ASSERT_EQ(plan.timers.size(), 1U);
    EXPECT_EQ(plan.timers[0].name, "rebootTimer");
    EXPECT_TRUE(plan.waiting);
}

// The bridge may have another one since the agent took the offer, and asked for it then.
TEST(AStartRechecks, NoAddressOfWhatTheAgentHasTaken) {
    Judge judge = today();
    judge.node.mac = "02:00:5E:10:00:02";
    ResumePlan plan = waitingPlan(keptOffer(descriptor()), memoryOf(descriptor()));
    plan.redo = broken(expiryOf("rebootTimer"));
    service::recheck(plan, judge);
    EXPECT_TRUE(plan.finished.empty());
    EXPECT_TRUE(plan.dropped.empty());
    EXPECT_TRUE(plan.waiting);
    EXPECT_TRUE(plan.redo);
    EXPECT_FALSE(plan.takeBack);
    plan = redoPlan(keptOffer(descriptor()));
    service::recheck(plan, judge);
    expectEnd(plan, 1, Outcome::wrongMac, "");
}

// Whatever it is, it must be an address; whose it is, is asked before the agent takes it.
TEST(AStartRechecks, AddressesForTheirFormWhileTheNodeHasNone) {
    Judge judge = today();
    judge.node.mac.clear();
    ResumePlan plan = redoPlan(keptOffer(descriptorOf(kNew, "https://h", "02:00:5E:10:00:02")));
    service::recheck(plan, judge);
    EXPECT_TRUE(plan.redo);
    plan = redoPlan(keptOffer(descriptorOf(kNew, "https://h", "$(reboot)")));
    service::recheck(plan, judge);
    expectEnd(plan, 1, Outcome::wrongMac, "");
}

} // namespace
