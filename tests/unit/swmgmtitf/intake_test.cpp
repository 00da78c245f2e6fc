// SPDX-License-Identifier: MIT
// Taking in the descriptor and the configuration of a new-image request.
#include "agent_test.h"
#include "orchestration_lines.h"

#include <cstddef>

using namespace ota::test;

namespace {

using NewImageIntake = AgentTest;
using ConfigIntake = AgentTest;

void receive(const char *json) { AGENT(ota_recv_newimagenfo)(json); }

TEST_F(NewImageIntake, FillsTheDescriptorAndWritesEveryField) {
    const Offer offer{.version = "4QZ-2.0",
                      .policy = 1,
                      .url = "https://127.0.0.1/4QZ",
                      .checksum = "d41d8cd98f00b204e9800998ecf8427e",
                      .mac = "AA:BB:CC:DD:EE:FF",
                      .model = "Gate-9"};

    receive(offer.json().c_str());

    EXPECT_ENTRIES(
        journal().all(),
        entries(
            trace("ota_recv_newimagenfo", "Inside ota_recv_newimagenfo"),
            both("swmgmtitf", "ota_recv_newimagenfo", "ClusterUpgradeSignal Data:"),
            both("swmgmtitf", "ota_recv_newimagenfo", "ota_recv_newimagenfo:swInfo.model = Gate-9"),
            both("swmgmtitf", "ota_recv_newimagenfo",
                 "ota_recv_newimagenfo:swInfo.nxtMSVersion = 4QZ-2.0"),
            both("swmgmtitf", "ota_recv_newimagenfo",
                 "ota_recv_newimagenfo:swInfo.fileServerURL = https://127.0.0.1/4QZ"),
            both("swmgmtitf", "ota_recv_newimagenfo",
                 "ota_recv_newimagenfo:swInfo.checksum = d41d8cd98f00b204e9800998ecf8427e"),
            both("swmgmtitf", "ota_recv_newimagenfo",
                 "ota_recv_newimagenfo:swInfo.mac = AA:BB:CC:DD:EE:FF"),
            trace("ota_recv_newimagenfo", "ota_recv_newimagenfo:swInfo.policy = 1"),
            both("swmgmtitf", "ota_recv_newimagenfo",
                 "model Gate-9 nxtMSVersion 4QZ-2.0 checksum d41d8cd98f00b204e9800998ecf8427e "
                 "mac AA:BB:CC:DD:EE:FF policy 1")));
    EXPECT_STREQ(AGENT_VAR(swInfo).nxtMSVersion, "4QZ-2.0");
    EXPECT_EQ(AGENT_VAR(swInfo).policy, 1);
}

TEST_F(NewImageIntake, KeepsThePreviousRequestWhereTheTextIsNotJson) {
    const Offer previous{.policy = 2};
    receive(previous.json().c_str());
    journal().clear();

    receive("not JSON");

    EXPECT_ENTRIES(journal().all(),
                   entries(trace("ota_recv_newimagenfo", "Inside ota_recv_newimagenfo"),
                           bothErrors("swmgmtitf", "ota_recv_newimagenfo",
                                      "parse_OtaMatrixItem_from_json fail"),
                           descriptorLines(previous)));
}

TEST_F(NewImageIntake, TakesANullTextForOneThatDoesNotParse) {
    receive(nullptr);

    EXPECT_ENTRIES(journal().all(),
                   entries(trace("ota_recv_newimagenfo", "Inside ota_recv_newimagenfo"),
                           bothErrors("swmgmtitf", "ota_recv_newimagenfo",
                                      "parse_OtaMatrixItem_from_json fail"),
                           descriptorLines(Offer{"", 0, "", "", "", ""})));
}

TEST_F(NewImageIntake, KeepsThePreviousValueOfEveryKeyThatIsMissing) {
    const Offer previous{.policy = 3};
    receive(previous.json().c_str());
    journal().clear();

    receive(R"({"nxtMSVersion":"4QZ-3.0"})");

    Offer mixed = previous;
    mixed.version = "4QZ-3.0";
    EXPECT_ENTRIES(journal().all(), descriptorIntake(mixed)); // without an error
    EXPECT_EQ(AGENT_VAR(swInfo).policy, 3);
}

TEST_F(NewImageIntake, KeepsThePreviousPolicyWhereItIsATextInsteadOfANumber) {
    receive(Offer{.policy = 1}.json().c_str());
    receive(R"({"policy":"0"})");
    EXPECT_EQ(AGENT_VAR(swInfo).policy, 1);
}

TEST_F(NewImageIntake, DoesNotJudgeWhatItTakesIn) {
    const Offer hollow{"", -7, "", "", "", ""};
    receive(hollow.json().c_str());
    EXPECT_ENTRIES(journal().all(), descriptorIntake(hollow));
}

TEST_F(NewImageIntake, CutsFieldsAtTheirWidth) {
    receive(Offer{.version = std::string(70, 'v'), .mac = kNodeMac + std::string("tail")}
                .json()
                .c_str());
    EXPECT_EQ(AGENT_VAR(swInfo).nxtMSVersion, std::string(63, 'v'));
    EXPECT_STREQ(AGENT_VAR(swInfo).mac, kNodeMac);
}

TEST_F(ConfigIntake, WritesTheDebugLogFirstAndIndentsTheNotice) {
    const OtaLibConfig config{1, 2, 3};

    AGENT(ota_recv_config)(&config);

    EXPECT_ENTRIES(
        journal().all(),
        entries(trace("ota_recv_config", "Inside ota_recv_config"),
                trace("ota_recv_config",
                      "OffloadDownloadActivate 1 initial_obardingStatus 2 firsttime_polling 3"),
                notice("swmgmtitf", "ota_recv_config",
                       " OffloadDownloadActivate 1 initial_obardingStatus 2 firsttime_polling 3")));
}

TEST_F(ConfigIntake, TakesTheFlagAsOneByteAndTheOthersAsSignedWords) {
    const OtaLibConfig config{255, -1, INT32_MIN};

    AGENT(ota_recv_config)(&config);

    EXPECT_EQ(AGENT_VAR(otaLibConfig).OffloadDownloadActivate, 255);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).initial_obardingStatus, -1);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).firsttime_polling, INT32_MIN);
    EXPECT_ENTRIES(journal().all(), configIntake(config));
}

TEST_F(ConfigIntake, ReadsTheRecordInTheSignalsLayout) {
    alignas(4) unsigned char record[12] = {1, 0xee, 0xee, 0xee};
    const std::int32_t words[2] = {4, 1};
    std::memcpy(record + 4, words, sizeof words);

    AGENT(ota_recv_config)(reinterpret_cast<const OtaLibConfig *>(record));

    EXPECT_EQ(sizeof(OtaLibConfig), sizeof record);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).OffloadDownloadActivate, 1);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).initial_obardingStatus, 4);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).firsttime_polling, 1);
}

TEST_F(ConfigIntake, ReplacesThePreviousConfigurationWhole) {
    const OtaLibConfig first{1, 5, 1};
    const OtaLibConfig second{0, 0, 0};
    AGENT(ota_recv_config)(&first);
    AGENT(ota_recv_config)(&second);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).OffloadDownloadActivate, 0);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).initial_obardingStatus, 0);
    EXPECT_EQ(AGENT_VAR(otaLibConfig).firsttime_polling, 0);
}

} // namespace
