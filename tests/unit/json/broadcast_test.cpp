// SPDX-License-Identifier: MIT
// The envelope of a forwarded signal, as JSON.
#include "record_codecs.h"

using namespace ota::test;

namespace {

class BroadcastEnvelope : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        setText(mInfo.type, "swmgnt_info");
        mInfo.sequence = 1;
        setText(mInfo.version, "1.0.0");
        setText(mInfo.signalname, "updateUpgradeStatus");
        setText(mInfo.signaldata, "{\n\t\"status\":\t\"X\"\n}");
    }

    cJSON *fill(cJSON *root, int size) const {
        return AGENT(swmgnt_encodeBroadcastinfoToJson)(root, &mInfo, size);
    }

    SwmgntBroadcastInfo mInfo{};
    JsonOwner mRoot{json("{}")};
    const std::string mMembers = "\"type\":\"swmgnt_info\",\"sequence\":1,\"mac\":\"\","
                                 "\"version\":\"1.0.0\",\"data\":{"
                                 "\"signalname\":\"updateUpgradeStatus\","
                                 "\"signaldata\":\"{\\n\\t\\\"status\\\":\\t\\\"X\\\"\\n}\"}";
};

TEST_F(BroadcastEnvelope, HasItsMembersInOrderAndTheSignalUnderData) {
    EXPECT_EQ(fill(mRoot.get(), sizeof mInfo), mRoot.get());
    EXPECT_EQ(oneLine(mRoot.get()), "{" + mMembers + "}");
}

TEST_F(BroadcastEnvelope, CarriesThePayloadAsAStringNotAsAnObject) {
    fill(mRoot.get(), sizeof mInfo);
    const cJSON *data = cJSON_GetObjectItem(mRoot.get(), "data");
    const cJSON *payload = cJSON_GetObjectItem(data, "signaldata");
    ASSERT_TRUE(cJSON_IsString(payload));
    EXPECT_STREQ(payload->valuestring, mInfo.signaldata);
}

TEST_F(BroadcastEnvelope, IsAddedToWhatTheRootHolds) {
    mRoot = json("{\"before\":true}");
    EXPECT_EQ(fill(mRoot.get(), sizeof mInfo), mRoot.get());
    EXPECT_EQ(oneLine(mRoot.get()), "{\"before\":true," + mMembers + "}");
}

TEST_F(BroadcastEnvelope, DoesNotDependOnTheSize) {
    for (const int size : {0, -1, 1}) {
        mRoot = json("{}");
        EXPECT_EQ(fill(mRoot.get(), size), mRoot.get());
        EXPECT_EQ(oneLine(mRoot.get()), "{" + mMembers + "}") << size;
    }
}

TEST_F(BroadcastEnvelope, CarriesTheSendersMacAndSequenceAsGiven) {
    setText(mInfo.mac, "00:1A:2B:3C:4D:5E");
    mInfo.sequence = -7;
    fill(mRoot.get(), sizeof mInfo);
    EXPECT_STREQ(cJSON_GetObjectItem(mRoot.get(), "mac")->valuestring, "00:1A:2B:3C:4D:5E");
    EXPECT_EQ(cJSON_GetObjectItem(mRoot.get(), "sequence")->valueint, -7);
}

TEST_F(BroadcastEnvelope, TakesTextsOfTheWholeWidth) {
    setText(mInfo.type, std::string(49, 't'));
    setText(mInfo.mac, std::string(99, 'm'));
    setText(mInfo.version, std::string(49, 'v'));
    setText(mInfo.signalname, std::string(99, 's'));
    setText(mInfo.signaldata, std::string(4195, 'd'));
    fill(mRoot.get(), sizeof mInfo);
    EXPECT_EQ(oneLine(mRoot.get()), "{\"type\":\"" + std::string(49, 't') +
                                        "\",\"sequence\":1,\"mac\":\"" + std::string(99, 'm') +
                                        "\",\"version\":\"" + std::string(49, 'v') +
                                        "\",\"data\":{\"signalname\":\"" + std::string(99, 's') +
                                        "\",\"signaldata\":\"" + std::string(4195, 'd') + "\"}}");
}

TEST_F(BroadcastEnvelope, IsNullWhereAnArgumentIsNull) {
    EXPECT_EQ(fill(nullptr, 0), nullptr);
    EXPECT_EQ(AGENT(swmgnt_encodeBroadcastinfoToJson)(mRoot.get(), nullptr, 0), nullptr);
    EXPECT_EQ(oneLine(mRoot.get()), "{}");
}

TEST_F(BroadcastEnvelope, IsMadeWithoutALogLine) {
    fill(mRoot.get(), sizeof mInfo);
    EXPECT_ENTRIES(journal().all(), entries());
}

} // namespace
