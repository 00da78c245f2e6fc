// SPDX-License-Identifier: MIT
// Publishing: the record as formatted text on the bus, on every node.
#include "extender.h"

#include <array>

using namespace ota::test;

namespace {

class Publishing : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        setText(status().model, "Gate-1");
        setText(status().curswversion, "1.0");
        setText(status().prevswversion, "0.9");
        setText(status().mac, "00:1A:2B:3C:4D:5E");
        setText(status().sn, "SN0001");
        setText(status().status, mReport.word);
    }

    UpgradeStatus &status() { return AGENT_VAR(swUpgStat); }
    int publish() { return AGENT(otaSwAgent_sendUpgradeSignal)(); }

    ReportedStatus mReport{.word = "OTA_SW_COMMIT_COMPLETE"};
};

TEST_F(Publishing, SendsTheRecordAsItStandsInThisOrder) {
    EXPECT_EQ(publish(), 0);
    EXPECT_ENTRIES(journal().all(),
                   entries(publishedEntries(mReport), contextQueryEntries(), publishedTrace()));
}

TEST_F(Publishing, SendsFormattedTextWithItsNulCounted) {
    publish();
    ASSERT_EQ(node().signals.size(), 1U);
    const Signal &sent = node().signals[0];
    EXPECT_EQ(sent.sender, "velmo.otaSwAgent");
    EXPECT_EQ(sent.name, "updateUpgradeStatus");
    EXPECT_EQ(sent.data, "{\n\t\"model\":\t\"Gate-1\",\n\t\"curswversion\":\t\"1.0\",\n"
                         "\t\"prevswversion\":\t\"0.9\",\n\t\"mac\":\t\"00:1A:2B:3C:4D:5E\",\n"
                         "\t\"sn\":\t\"SN0001\",\n\t\"status\":\t\"OTA_SW_COMMIT_COMPLETE\"\n}");
    EXPECT_EQ(sent.dataLen, static_cast<int>(sent.data.size()) + 1);
}

TEST_F(Publishing, SendsAnEmptyRecordTooWithoutAskingForTheIdentity) {
    status() = {};
    EXPECT_EQ(publish(), 0);
    const ReportedStatus empty{
        .model = "", .current = "", .previous = "", .mac = "", .serial = "", .word = ""};
    EXPECT_EQ(node().signals.at(0).data, empty.formatted());
    EXPECT_ENTRIES(only(journal().all(), {"nal_getNodeInfo", "nal_getCurSwVersion"}), entries());
}

TEST_F(Publishing, ReleasesEverythingThatItMade) {
    publish();
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(Publishing, AnswersMinusOneAndSendsAndLogsNothingWhereTheRecordCannotBeEncoded) {
    failAllocation(Owner::kJson, 1);
    EXPECT_EQ(publish(), -1);
    EXPECT_ENTRIES(journal().all(), entries());
}

// A control character takes six characters in JSON, so the text can outgrow its buffer.
TEST_F(Publishing, ARecordThatOutgrowsTheTextBufferGoesOutAsFarAsItWasPrinted) {
    bool overflowed = false;
    bool fitted = false;
    for (std::size_t length = 0; length < 50; ++length) {
        setText(status().curswversion, std::string(63, '\x01'));
        setText(status().prevswversion, std::string(63, '\x01'));
        setText(status().status, std::string(length, '\x01'));
        for (std::size_t serial = 0; serial < 7; ++serial) {
            setText(status().sn, std::string(serial, 's'));
            std::array<char, 1024> expected{};
            cJSON *object = AGENT(encode_UpgradeStatus_to_json)(&status());
            const bool fits = cJSON_PrintPreallocated(object, expected.data(), 1023, 1) != 0;
            cJSON_Delete(object);
            fitted = fitted || fits;
            overflowed = overflowed || !fits;

            node().signals.clear();
            EXPECT_EQ(publish(), 0);
            EXPECT_EQ(node().signals.at(0).data, expected.data());
            EXPECT_EQ(node().signals.at(0).dataLen,
                      static_cast<int>(node().signals.at(0).data.size()) + 1);
        }
    }
    EXPECT_TRUE(fitted && overflowed);
}

class BusSignal : public ExtenderTest {
  protected:
    void SetUp() override {
        ExtenderTest::SetUp();
        node().workMode = "RGW";
    }
};

TEST_F(BusSignal, TakesDataAndLengthAsGiven) {
    send("{}", 3);
    EXPECT_EQ(node().signals.at(0).data, "{}");
    EXPECT_EQ(node().signals.at(0).dataLen, 3);
    EXPECT_FALSE(node().signals.at(0).dataIsNull);
    send("{\"a\":1}", 1);
    EXPECT_EQ(node().signals.at(1).dataLen, 1);
}

TEST_F(BusSignal, CarriesNullAndZeroWhereThereIsNoData) {
    send(nullptr, 7);
    send("{}", 0);
    send("{}", -1);
    send(nullptr, 0);
    ASSERT_EQ(node().signals.size(), 4U);
    for (const Signal &sent : node().signals) {
        EXPECT_TRUE(sent.dataIsNull);
        EXPECT_EQ(sent.dataLen, 0);
    }
}

TEST_F(BusSignal, IsAllThatAGatewaySends) {
    send("{}", 3);
    EXPECT_ENTRIES(journal().all(),
                   entries(both(kSignalUnit, kSend, "Send Signal = updateUpgradeStatus"),
                           "evbusSendSignal velmo.otaSwAgent updateUpgradeStatus unreadable: {}",
                           contextQueryEntries()));
    EXPECT_TRUE(node().notifications.empty());
}

TEST_F(BusSignal, ThatFailsIsLoggedAndGoneOnFrom) {
    node().always["evbusSendSignal"] = 5;
    send("{}", 3);
    EXPECT_ENTRIES(journal().all(),
                   entries(both(kSignalUnit, kSend, "Send Signal = updateUpgradeStatus"),
                           "evbusSendSignal velmo.otaSwAgent updateUpgradeStatus unreadable: {}",
                           bothErrors(kSignalUnit, kSend, "EVBUS fail"), contextQueryEntries()));
}

TEST_F(BusSignal, OfAnotherNameEndsTheProcessBeforeAnythingIsSent) {
    for (const std::string name :
         {"updateUpgradeStatus", "", "upgrade_status2", "Upgrade_status"}) {
        journal().clear();
        const char *other = name.c_str();
        const auto left = untilLeft([&] { AGENT(otaswmgnt_sendSignal)(other, "{}", 3); });
        EXPECT_EQ(left, 1);
        EXPECT_ENTRIES(journal().all(),
                       entries(bothErrors(kSignalUnit, kSend, "Wrong Signal = " + name), "exit 1"));
    }
    EXPECT_TRUE(node().signals.empty());
}

struct Place {
    std::string name;
    std::string mode;
    std::string role;
    bool forwards;
};

class Places : public ExtenderTest, public testing::WithParamInterface<Place> {};

INSTANTIATE_TEST_SUITE_P(Nodes, Places,
                         testing::Values(Place{"Gateway", "RGW", "Agent", false},
                                         Place{"GatewayController", "RGW", "Controller", false},
                                         Place{"BridgeController", "AP_Bridge", "Controller",
                                               false},
                                         Place{"BridgeAgent", "AP_Bridge", "Agent", true},
                                         Place{"BridgeWithoutRole", "AP_Bridge", "", true},
                                         Place{"UnknownMode", "Repeater", "Controller", true},
                                         Place{"NoMode", "", "", true}),
                         [](const auto &place) { return place.param.name; });

TEST_P(Places, ReportOnTheBusFirstAndForwardToTheRootUnlessTheyAreTheGateway) {
    node().workMode = GetParam().mode;
    node().workRole = GetParam().role;
    send("{\"status\":\"X\"}");
    Entries expected{signal("X")};
    if (GetParam().forwards) {
        expected.push_back("nwa_sendNotificationToRoot updateUpgradeStatus");
    }
    EXPECT_ENTRIES(journal().actions(), expected);
}

TEST_F(BusSignal, IsNotForwardedByAGatewayWhoseOnboardingStatusCannotBeHad) {
    node().always["nal_getRootOnBoardingStatus"] = -1;
    send("{}", 3);
    EXPECT_TRUE(node().notifications.empty());
    node().workMode = "AP_Bridge";
    send("{}", 3);
    EXPECT_EQ(node().notifications.size(), 1U);
}

TEST_F(BusSignal, IsForwardedWhereTheModeCannotBeHad) {
    node().always["nal_getWorkMode"] = -1;
    send("{}", 3);
    EXPECT_EQ(node().notifications.size(), 1U);
}

TEST_F(BusSignal, IsForwardedWhereTheModeIsNoLongerKnown) {
    send("{}", 3);
    EXPECT_TRUE(node().notifications.empty());
    node().always["nal_getWorkMode"] = -1;
    send("{}", 3);
    EXPECT_EQ(node().notifications.size(), 1U);
}

TEST_F(BusSignal, IsForwardedWhereTheRoleIsNoLongerKnown) {
    node().workMode = "AP_Bridge";
    node().workRole = "Controller";
    send("{}", 3);
    EXPECT_TRUE(node().notifications.empty());
    node().always["nal_getWorkRole"] = -1;
    send("{}", 3);
    EXPECT_EQ(node().notifications.size(), 1U);
}

} // namespace
