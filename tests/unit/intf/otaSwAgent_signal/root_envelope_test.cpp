// SPDX-License-Identifier: MIT
// From an extender to the root: the envelope, its length, and everything that is said about it.
#include "extender.h"

using namespace ota::test;

namespace {

// Nothing that the agent builds is invalid, so the library's answer is given for it.
bool gEveryObjectIsInvalid = false;

} // namespace

extern "C" cJSON_bool cJSON_IsInvalid(const cJSON *item) {
    return gEveryObjectIsInvalid || (item != nullptr && (item->type & 0xff) == cJSON_Invalid);
}

namespace {

using RootEnvelope = ExtenderTest;

TEST_F(RootEnvelope, FollowsTheBusSignalInOneReportInThisOrder) {
    ReportedStatus reported;
    reported.word = "OTA_SW_COMMIT_COMPLETE";
    EXPECT_EQ(AGENT(sendUpgradeSignalToSwMgnt)("OTA_SW_COMMIT_COMPLETE"), 0);
    EXPECT_ENTRIES(
        journal().all(),
        entries(both("swmgmtitf", "sendUpgradeSignalToSwMgnt",
                     "upgradeSignal = OTA_SW_COMMIT_COMPLETE"),
                both("swmgmtitf", "sendUpgradeSignalToSwMgnt",
                     "swUpgStat.status = OTA_SW_COMMIT_COMPLETE"),
                identityEntries(reported), publishedEntries(reported), contextQueryEntries(),
                forwardingEntries(reported.formatted(), reported.oneLine()), publishedTrace()));
    EXPECT_EQ(node().signals.size(), 1U);
    EXPECT_EQ(node().notifications.size(), 1U);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(RootEnvelope, CarriesFormattedTextInsideFormattedText) {
    ReportedStatus reported;
    reported.word = "NO_OTA_SW_UPGRADE";
    AGENT(sendUpgradeSignalToSwMgnt)("NO_OTA_SW_UPGRADE");
    const Notification &sent = node().notifications.at(0);
    EXPECT_EQ(sent.config, formattedEnvelope(reported.formatted()) + '\0');
    EXPECT_EQ(signalDataOf(sent), node().signals.at(0).data);
    EXPECT_NE(signalDataOf(sent).find("\n\t"), std::string::npos);
}

TEST_F(RootEnvelope, HasALengthThatCountsItsTextAndTheNul) {
    for (const std::string data : {"", "{}", "[1,2,3]", "no json at all"}) {
        node().notifications.clear();
        send(data);
        const Notification &sent = node().notifications.at(0);
        EXPECT_EQ(sent.dataLen, formattedEnvelope(data).size() + 1);
        EXPECT_EQ(sent.config.back(), '\0');
        EXPECT_EQ(sent.config.find('\0'), sent.config.size() - 1);
    }
}

TEST_F(RootEnvelope, HasSequenceOneAndNoMacInEveryReport) {
    for (int i = 0; i < 3; ++i) {
        AGENT(sendUpgradeSignalToSwMgnt)("OTA_RECONNECT_BUE");
    }
    ASSERT_EQ(node().notifications.size(), 3U);
    for (const Notification &sent : node().notifications) {
        EXPECT_EQ(sent.config, node().notifications[0].config);
        EXPECT_NE(sent.config.find("\"sequence\":\t1,\n\t\"mac\":\t\"\",\n"), std::string::npos);
    }
}

TEST_F(RootEnvelope, IsForwardedAlthoughTheBusFailed) {
    node().always["evbusSendSignal"] = -1;
    send("{\"status\":\"X\"}");
    EXPECT_ENTRIES(journal().all(),
                   entries(both(kSignalUnit, kSend, "Send Signal = updateUpgradeStatus"),
                           signal("X"), bothErrors(kSignalUnit, kSend, "EVBUS fail"),
                           contextQueryEntries(),
                           forwardingEntries("{\"status\":\"X\"}", "{\"status\":\"X\"}")));
}

TEST_F(RootEnvelope, ThatTheRootRefusesIsANoticeAndNotSentAgain) {
    for (const int result : {-1, 1, 7}) {
        node().always["nwa_sendNotificationToRoot"] = result;
        journal().clear();
        send("{}");
        Entries expected = forwardingEntries("{}", "{}");
        expected.back() = platformNotice("came out of nwa_sendNotificationToRoot ** FAIL**");
        const Entries written = journal().all();
        ASSERT_GE(written.size(), expected.size());
        EXPECT_ENTRIES(
            Entries(written.end() - static_cast<std::ptrdiff_t>(expected.size()), written.end()),
            expected);
    }
    EXPECT_EQ(node().notifications.size(), 3U);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(RootEnvelope, HoldsAtMostFourThousandOneHundredNinetyFiveCharactersOfData) {
    for (const std::size_t length : {4194U, 4195U, 4196U, 5000U}) {
        node().notifications.clear();
        node().signals.clear();
        const std::string data(length, 'd');
        send(data);
        EXPECT_EQ(signalDataOf(node().notifications.at(0)), data.substr(0, 4195));
        EXPECT_EQ(node().signals.at(0).data, data);
        EXPECT_EQ(node().signals.at(0).dataLen, static_cast<int>(length) + 1);
    }
}

TEST_F(RootEnvelope, ShowsDataThatDoesNotParseAsAnEmptyText) {
    send("{\"open\":");
    EXPECT_ENTRIES(only(journal().platformLog(), {"notice intf/otaSwAgent_signal "
                                                  "otaswmgnt_sendSignal: **signaldata"}),
                   entries(platformNotice("**signaldata \n")));
    EXPECT_EQ(signalDataOf(node().notifications.at(0)), "{\"open\":");
}

TEST_F(RootEnvelope, ShowsTheDataOnOneLine) {
    send("{\n\t\"a\":\t[1, 2],\n\t\"b\":\tnull\n}");
    EXPECT_ENTRIES(only(journal().platformLog(), {"notice intf/otaSwAgent_signal "
                                                  "otaswmgnt_sendSignal: **signaldata"}),
                   entries(platformNotice("**signaldata {\"a\":[1,2],\"b\":null}\n")));
}

TEST_F(RootEnvelope, CarriesAnEmptyTextWhereThereIsNoData) {
    send(nullptr, 0);
    EXPECT_TRUE(node().signals.at(0).dataIsNull);
    EXPECT_EQ(signalDataOf(node().notifications.at(0)), "");
}

TEST_F(RootEnvelope, IsSpokenOfInThePlatformsLoggerOnly) {
    send("{}");
    EXPECT_ENTRIES(without(journal().debugLog(), {"debug ota_getWifiServiceObj"}),
                   entries(trace(kSend, "Send Signal = updateUpgradeStatus")));
}

TEST_F(RootEnvelope, ThatIsInvalidIsAnErrorOfThePlatformsLoggerAndSentAllTheSame) {
    gEveryObjectIsInvalid = true;
    send("{}");
    gEveryObjectIsInvalid = false;
    Entries expected = forwardingEntries("{}", "{}");
    expected.at(2) = platformError(" cjson failed root is not jason");
    EXPECT_ENTRIES(journal().all(),
                   entries(both(kSignalUnit, kSend, "Send Signal = updateUpgradeStatus"),
                           "evbusSendSignal velmo.otaSwAgent updateUpgradeStatus unreadable: {}",
                           contextQueryEntries(), expected));
}

} // namespace
