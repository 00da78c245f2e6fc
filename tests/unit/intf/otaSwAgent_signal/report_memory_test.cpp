// SPDX-License-Identifier: MIT
// Memory that runs out during a report from an extender: whatever can still go out does.
#include "extender.h"

#include <algorithm>

using namespace ota::test;

namespace {

bool contains(const Entries &written, const std::string &entry) {
    return std::find(written.begin(), written.end(), entry) != written.end();
}

class ReportMemory : public ExtenderTest {
  protected:
    void forgetTheLastReport() {
        journal().clear();
        node().signals.clear();
        node().notifications.clear();
    }

    int report() {
        forgetTheLastReport();
        return AGENT(sendUpgradeSignalToSwMgnt)("OTA_SW_ACTIVATION_COMPLETE");
    }

    // Holds for a report in which any one allocation failed.
    void expectSoundReport(int result) {
        EXPECT_EQ(node().signals.size(), result == 0 ? 1U : 0U);
        EXPECT_LE(node().notifications.size(), node().signals.size());
        for (const Notification &sent : node().notifications) {
            EXPECT_EQ(sent.config.find('\0'), sent.dataLen - 1);
        }
        EXPECT_EQ(contains(journal().all(), platformNotice("sending data from extender to root ")),
                  !node().notifications.empty());
        EXPECT_ENTRIES(only(journal().debugLog(), {trace(kSend, "")}),
                       result == 0 ? entries(trace(kSend, "Send Signal = updateUpgradeStatus"))
                                   : Entries{});
        EXPECT_EQ(outstandingJson(), 0);
    }
};

TEST_F(ReportMemory, EveryJsonAllocationMayFailOnce) {
    int result = 0;
    int refused = 0;
    int withoutRoot = 0;
    int failures = 0;
    withEveryAllocationFailing(
        Owner::kJson,
        [&](bool failed) {
            expectSoundReport(result);
            failures += failed ? 1 : 0;
            refused += result == 0 ? 0 : 1;
            if (contains(journal().all(), platformError(" cjson failed root is NULL"))) {
                ++withoutRoot;
                EXPECT_TRUE(node().notifications.empty());
                EXPECT_ENTRIES(only(journal().all(), {"notice intf/otaSwAgent_signal "
                                                      "otaswmgnt_sendSignal: jason"}),
                               entries());
            }
            if (!failed) {
                EXPECT_EQ(result, 0);
                EXPECT_EQ(node().notifications.size(), 1U);
            }
        },
        [&] { result = report(); });
    EXPECT_EQ(refused, 1) << "only a record that cannot be made is not sent";
    EXPECT_EQ(withoutRoot, 1);
    EXPECT_GT(failures, 20);
}

TEST_F(ReportMemory, EveryAllocationOfTheAgentMayFailOnce) {
    OTA_SKIP_UNLESS_ALLOCATIONS_FAIL(Owner::kAgent);
    int result = 0;
    int failures = 0;
    withEveryAllocationFailing(
        Owner::kAgent,
        [&](bool failed) {
            expectSoundReport(result);
            failures += failed ? 1 : 0;
            EXPECT_EQ(result, 0);
            EXPECT_EQ(node().notifications.size(), failed ? 0U : 1U);
        },
        [&] { result = report(); });
    EXPECT_EQ(failures, 2) << "the envelope and the message";
}

TEST_F(ReportMemory, WithoutAnEnvelopeTheBusSignalHasGoneOutAndAnErrorSaysSo) {
    OTA_SKIP_UNLESS_ALLOCATIONS_FAIL(Owner::kAgent);
    failAllocation(Owner::kAgent, 1);
    send("{\"status\":\"X\"}");
    EXPECT_ENTRIES(journal().all(),
                   entries(both(kSignalUnit, kSend, "Send Signal = updateUpgradeStatus"),
                           signal("X"), contextQueryEntries(),
                           platformError(" malloc failed swmgntdata  is NULL")));
}

TEST_F(ReportMemory, AReportAfterAFailedOneIsWhole) {
    failAllocation(Owner::kJson, 1);
    EXPECT_EQ(report(), -1);
    EXPECT_EQ(report(), 0);
    EXPECT_EQ(node().signals.size(), 1U);
    EXPECT_EQ(node().notifications.size(), 1U);
}

} // namespace
