// SPDX-License-Identifier: MIT
// Who the node is: its MAC, and the identity part of the status record.
#include "agent_test.h"
#include "report_entries.h"

#include "platform/nal.h"

#include <algorithm>
#include <cstring>

using namespace ota::test;

namespace {

constexpr char kUnit[] = "swmgmtitf";

class InterfaceMac : public AgentTest {
  protected:
    int read(const char *interface, std::size_t length) {
        return AGENT(getIfMac)(interface, mText, length);
    }

    char mText[32] = "before";
};

TEST_F(InterfaceMac, IsReadThroughASocketThatIsClosedAgain) {
    EXPECT_EQ(read("br0", 18), 0);
    EXPECT_STREQ(mText, "00:1A:2B:3C:4D:5E");
    EXPECT_ENTRIES(journal().all(), macQueryEntries());
}

TEST_F(InterfaceMac, IsWrittenInUpperCaseWithAllBitsOfEveryByte) {
    node().mac = {0xff, 0x80, 0x7f, 0xab, 0x00, 0x09};
    EXPECT_EQ(read("br0", 18), 0);
    EXPECT_STREQ(mText, "FF:80:7F:AB:00:09");
}

TEST_F(InterfaceMac, TakesAnyAnswerThatIsNotNegativeForSuccess) {
    node().always["ioctl"] = 1;
    EXPECT_EQ(read("br0", 18), 0);
    EXPECT_STREQ(mText, "00:1A:2B:3C:4D:5E");
}

TEST_F(InterfaceMac, IsAskedForUnderANameCutToFifteenCharacters) {
    read("abcdefghijklmno", 18);
    read("abcdefghijklmnop", 18);
    read("abcdefghijklmnopqrstuvwxyz", 18);
    EXPECT_ENTRIES(only(journal().all(), {"ioctl"}),
                   entries("ioctl SIOCGIFHWADDR abcdefghijklmno",
                           "ioctl SIOCGIFHWADDR abcdefghijklmno",
                           "ioctl SIOCGIFHWADDR abcdefghijklmno"));
}

TEST_F(InterfaceMac, IsCutWhereTheDestinationIsShorter) {
    EXPECT_EQ(read("br0", 17), 0);
    EXPECT_STREQ(mText, "00:1A:2B:3C:4D:5");
    EXPECT_EQ(read("br0", 4), 0);
    EXPECT_STREQ(mText, "00:");
    EXPECT_EQ(read("br0", 1), 0);
    EXPECT_STREQ(mText, "");
}

TEST_F(InterfaceMac, IsNotWrittenIntoADestinationOfNoLength) {
    EXPECT_EQ(read("br0", 0), 0);
    EXPECT_STREQ(mText, "before");
}

TEST_F(InterfaceMac, IsNotAskedForWithANullArgument) {
    EXPECT_EQ(AGENT(getIfMac)(nullptr, mText, sizeof mText), -1);
    EXPECT_EQ(AGENT(getIfMac)("br0", nullptr, 18), -1);
    EXPECT_STREQ(mText, "before");
    EXPECT_ENTRIES(journal().all(), entries());
}

TEST_F(InterfaceMac, WithoutASocketAnErrorIsLoggedAndNothingWritten) {
    node().always["socket"] = -1;
    EXPECT_EQ(read("br0", 18), -1);
    EXPECT_STREQ(mText, "before");
    EXPECT_ENTRIES(journal().all(),
                   entries("socket AF_INET SOCK_STREAM 0",
                           bothErrors(kUnit, "getIfMac", "create getIfMac socket error")));
}

TEST_F(InterfaceMac, WithoutTheInterfaceAnErrorIsLoggedBeforeTheSocketIsClosed) {
    node().always["ioctl"] = -1;
    EXPECT_EQ(read("wan0", 18), -1);
    EXPECT_STREQ(mText, "before");
    EXPECT_ENTRIES(journal().all(),
                   entries("socket AF_INET SOCK_STREAM 0", "ioctl SIOCGIFHWADDR wan0",
                           bothErrors(kUnit, "getIfMac", "create getIfMac ioctl error"),
                           "close socket"));
}

class Identity : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        std::memset(&status(), 'z', sizeof(UpgradeStatus));
    }

    UpgradeStatus &status() { return AGENT_VAR(swUpgStat); }
    int refresh() { return AGENT(initUpgradeStatusInfo)(); }

    Entries line(const std::string &body) { return both(kUnit, "initUpgradeStatusInfo", body); }
};

TEST_F(Identity, IsTakenFromThePlatformInAFixedOrder) {
    EXPECT_EQ(refresh(), 0);
    EXPECT_STREQ(status().model, "Gate-1");
    EXPECT_STREQ(status().curswversion, "1.0");
    EXPECT_STREQ(status().prevswversion, "0.9");
    EXPECT_STREQ(status().mac, "00:1A:2B:3C:4D:5E");
    EXPECT_STREQ(status().sn, "SN0001");
    EXPECT_ENTRIES(journal().all(), identityEntries(ReportedStatus{}));
}

TEST_F(Identity, NeverTouchesTheStatusWord) {
    refresh();
    EXPECT_EQ(std::string(status().status, sizeof status().status), std::string(50, 'z'));
}

TEST_F(Identity, EndsEveryFieldInItsLastByte) {
    refresh();
    EXPECT_EQ(status().model[31], '\0');
    EXPECT_EQ(status().curswversion[63], '\0');
    EXPECT_EQ(status().prevswversion[63], '\0');
    EXPECT_EQ(status().mac[17], '\0');
    EXPECT_EQ(status().sn[31], '\0');
}

TEST_F(Identity, PadsModelAndSerialNumberWithZeros) {
    refresh();
    EXPECT_EQ(std::string(status().model, 32), std::string("Gate-1").append(26, '\0'));
    EXPECT_EQ(std::string(status().sn, 32), std::string("SN0001").append(26, '\0'));
}

TEST_F(Identity, CutsModelAndSerialNumberToThirtyOneCharacters) {
    node().model = std::string(31, 'm') + "MORE";
    node().serialNumber = std::string(31, 's') + "MORE";
    refresh();
    EXPECT_EQ(status().model, std::string(31, 'm'));
    EXPECT_EQ(status().sn, std::string(31, 's'));
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf initUpgradeStatusInfo: model"}),
        entries(notice(kUnit, "initUpgradeStatusInfo", "modelname from DB is = " + node().model),
                notice(kUnit, "initUpgradeStatusInfo", "model = " + std::string(31, 'm')),
                notice(kUnit, "initUpgradeStatusInfo",
                       "model = " + std::string(31, 'm') +
                           ", curswversion = 1.0prevswversion = 0.9 DeviceMAC = "
                           "00:1A:2B:3C:4D:5E SN = " +
                           std::string(31, 's'))));
}

TEST_F(Identity, KeepsVersionsOfSixtyThreeCharactersWhole) {
    node().currentVersion = std::string(63, 'c');
    node().previousVersion = std::string(63, 'p');
    refresh();
    EXPECT_EQ(status().curswversion, std::string(63, 'c'));
    EXPECT_EQ(status().prevswversion, std::string(63, 'p'));
}

TEST_F(Identity, IsLeftEntirelyUnchangedWithoutNodeInformation) {
    node().always["nal_getNodeInfo"] = 1;
    const UpgradeStatus before = status();
    EXPECT_EQ(refresh(), -1);
    EXPECT_EQ(std::memcmp(&before, &status(), sizeof before), 0);
    EXPECT_ENTRIES(journal().all(),
                   entries(trace("initUpgradeStatusInfo", "Inside initUpgradeStatusInfo"),
                           "nal_getNodeInfo",
                           bothErrors(kUnit, "initUpgradeStatusInfo", "calling  failed",
                                      "calling nal_getNodeInfo failed")));
}

TEST_F(Identity, EveryFailureOfTheNodeInformationCounts) {
    for (const int result : {-1, 2, -10}) {
        node().always["nal_getNodeInfo"] = result;
        EXPECT_EQ(refresh(), -1) << result;
        EXPECT_EQ(status().model[0], 'z');
    }
}

TEST_F(Identity, WithoutARunningVersionTheFieldKeepsWhatThePlatformLeftThere) {
    node().always["nal_getCurSwVersion"] = -1;
    EXPECT_EQ(refresh(), 0);
    const std::string kept(63, 'z');
    EXPECT_EQ(status().curswversion, kept);
    EXPECT_STREQ(status().prevswversion, "0.9");
    ReportedStatus found;
    found.current = kept;
    Entries expected = identityEntries(found);
    const Entries failure =
        bothErrors(kUnit, "initUpgradeStatusInfo", "nal_get_current_version failed");
    const auto call = std::find(expected.begin(), expected.end(), "nal_getCurSwVersion");
    expected.insert(call + 1, failure.begin(), failure.end());
    EXPECT_ENTRIES(journal().all(), expected);
}

TEST_F(Identity, WithoutAPreviousImageItsVersionIsEmpty) {
    node().always["nal_getPrevSwVersion"] = -10;
    EXPECT_EQ(refresh(), 0);
    EXPECT_STREQ(status().prevswversion, "");
    EXPECT_EQ(status().prevswversion[1], 'z');
    ReportedStatus found;
    found.previous = "";
    Entries expected = identityEntries(found);
    const Entries absence = both(kUnit, "initUpgradeStatusInfo", "nal_getPrevSwVersion NS ",
                                 "nal_getPrevSwVersion is NS");
    const auto call = std::find(expected.begin(), expected.end(), "nal_getPrevSwVersion");
    expected.insert(call + 1, absence.begin(), absence.end());
    EXPECT_ENTRIES(journal().all(), expected);
}

TEST_F(Identity, AnyOtherFailureOfThePreviousVersionIsNotReported) {
    for (const int result : {-1, 1, -9, -11, 10}) {
        std::memset(&status(), 'z', sizeof(UpgradeStatus));
        journal().clear();
        node().always["nal_getPrevSwVersion"] = result;
        EXPECT_EQ(refresh(), 0);
        ReportedStatus found;
        found.previous = std::string(63, 'z');
        EXPECT_EQ(status().prevswversion, found.previous) << result;
        EXPECT_ENTRIES(journal().all(), identityEntries(found));
    }
}

TEST_F(Identity, WithoutAMacTheEarlierOneIsKept) {
    for (const char *call : {"socket", "ioctl"}) {
        node().always = {};
        refresh();
        node().mac = {1, 2, 3, 4, 5, 6};
        node().always[call] = -1;
        journal().clear();
        EXPECT_EQ(refresh(), 0);
        EXPECT_STREQ(status().mac, "00:1A:2B:3C:4D:5E");
        EXPECT_ENTRIES(
            only(journal().debugLog(), {"debug getIfMac"}),
            entries(trace("getIfMac", "create getIfMac " + std::string(call) + " error")));
        EXPECT_EQ(journal().debugLog().back(),
                  "debug initUpgradeStatusInfo: model = Gate-1, curswversion = 1.0prevswversion = "
                  "0.9 DeviceMAC = 00:1A:2B:3C:4D:5E SN = SN0001");
        node().mac = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e};
    }
}

TEST_F(Identity, AMacThatWasNeverReadIsTerminatedAllTheSame) {
    node().always["ioctl"] = -1;
    refresh();
    EXPECT_EQ(status().mac, std::string(17, 'z'));
}

TEST_F(Identity, IsRebuiltFromThePlatformOnEveryCall) {
    refresh();
    node().currentVersion = "2.0";
    node().previousVersion = "1.0";
    node().model = "Gate-2";
    node().serialNumber = "S";
    node().mac = {1, 2, 3, 4, 5, 6};
    refresh();
    EXPECT_STREQ(status().model, "Gate-2");
    EXPECT_STREQ(status().curswversion, "2.0");
    EXPECT_STREQ(status().prevswversion, "1.0");
    EXPECT_STREQ(status().mac, "01:02:03:04:05:06");
    EXPECT_STREQ(status().sn, "S");
}

TEST_F(Identity, EndsWithTheRecordWhereThePlatformLeftItsTextsOpen) {
    node().serialNumber = std::string(65, 's');
    node().model = std::string(NAL_NODE_INFO_SIZE - NAL_NODE_INFO_MODEL_OFFSET, 'm');
    EXPECT_EQ(refresh(), 0);
    EXPECT_ENTRIES(
        only(journal().platformLog(), {"notice swmgmtitf initUpgradeStatusInfo: modelname"}),
        entries(notice(kUnit, "initUpgradeStatusInfo", "modelname from DB is = " + node().model)));
    EXPECT_EQ(status().model, std::string(31, 'm'));
    EXPECT_EQ(status().sn, std::string(31, 's'));
}

TEST_F(Identity, PrintsFieldsThatAreTerminated) {
    node().always["ioctl"] = -1;
    node().serialNumber = std::string(40, 's');
    refresh();
    const std::string fill = "initUpgradeStatusInfo";
    EXPECT_ENTRIES(only(journal().debugLog(), {trace(fill, "DeviceMAC"), trace(fill, "SN")}),
                   entries(trace(fill, "DeviceMAC = " + std::string(17, 'z')),
                           trace(fill, "SN = " + std::string(31, 's'))));
}

using IdentityAtStartUp = StartedAgentTest;

TEST_F(IdentityAtStartUp, IsKnownWithAnEmptyStatusWord) {
    EXPECT_STREQ(AGENT_VAR(swUpgStat).model, "Gate-1");
    EXPECT_STREQ(AGENT_VAR(swUpgStat).sn, "SN0001");
    EXPECT_STREQ(AGENT_VAR(swUpgStat).mac, "00:1A:2B:3C:4D:5E");
    EXPECT_STREQ(AGENT_VAR(swUpgStat).status, "");
}

} // namespace
