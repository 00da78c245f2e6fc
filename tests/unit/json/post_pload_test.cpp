// SPDX-License-Identifier: MIT
// A server's answer: sixteen version slots, whatever the array holds.
#include "record_codecs.h"

#include <cstring>

using namespace ota::test;

namespace {

std::string item(int index) {
    return "{\"model\":\"m" + std::to_string(index) + "\",\"policy\":" + std::to_string(index) +
           "}";
}

std::string answer(int items) {
    std::string text;
    for (int i = 0; i < items; ++i) {
        text += (i == 0 ? "" : ",") + item(i);
    }
    return "{\"responseCode\":200,\"responseMsg\":\"ok\",\"versions\":[" + text + "]}";
}

class ServerAnswers : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        for (MatrixItem &slot : mAnswer->versions) {
            setText(slot.model, "before");
            slot.policy = -1;
        }
    }

    void parse(const std::string &text) {
        EXPECT_EQ(AGENT(parse_PostPload_from_json)(text.c_str(), mAnswer.get()), 0);
    }

    // The first `count` slots are those of answer(), the others are as they were.
    void expectFilled(int count) const {
        for (int i = 0; i < 16; ++i) {
            const MatrixItem &slot = mAnswer->versions[i];
            EXPECT_EQ(slot.model, i < count ? "m" + std::to_string(i) : std::string("before")) << i;
            EXPECT_EQ(slot.policy, i < count ? i : -1);
        }
    }

    std::unique_ptr<PostPload> mAnswer = std::make_unique<PostPload>();
};

TEST_F(ServerAnswers, FewerVersionsLeaveTheRemainingSlotsUnchanged) {
    parse(answer(3));
    EXPECT_EQ(mAnswer->responseCode, 200);
    EXPECT_STREQ(mAnswer->responseMsg, "ok");
    expectFilled(3);
}

TEST_F(ServerAnswers, SixteenVersionsFillAllSlots) {
    parse(answer(16));
    expectFilled(16);
}

TEST_F(ServerAnswers, MoreVersionsFillTheSixteenSlotsOnly) {
    parse(answer(17));
    expectFilled(16);
}

TEST_F(ServerAnswers, MissingOrMistypedVersionsLeaveAllSlotsUnchanged) {
    for (const char *versions :
         {"", ",\"versions\":null", ",\"versions\":{\"model\":\"m\"}", ",\"versions\":\"m\"",
          ",\"versions\":3", ",\"versions\":[]", ",\"Versions\":[{\"policy\":3}]"}) {
        parse("{\"responseCode\":404" + std::string(versions) + "}");
        EXPECT_EQ(mAnswer->responseCode, 404);
        expectFilled(0);
    }
}

TEST_F(ServerAnswers, AnEmptyVersionKeepsTheSlotAsItWas) {
    parse("{\"versions\":[{},{\"model\":\"m1\",\"policy\":1}]}");
    EXPECT_STREQ(mAnswer->versions[0].model, "before");
    EXPECT_STREQ(mAnswer->versions[1].model, "m1");
}

TEST_F(ServerAnswers, AreEncodedWithAllSixteenSlotsEmptyOnesToo) {
    PostPload record{};
    record.responseCode = 5;
    setText(record.versions[15].model, "last");
    record.versions[15].policy = 3;
    const std::string empty = "{\"model\":\"\",\"nxtMSVersion\":\"\",\"fileServerURL\":\"\","
                              "\"checksum\":\"\",\"policy\":0}";
    std::string expected = "{\"responseCode\":5,\"responseMsg\":\"\",\"versions\":[";
    for (int i = 0; i < 15; ++i) {
        expected += empty + ",";
    }
    expected += "{\"model\":\"last\",\"nxtMSVersion\":\"\",\"fileServerURL\":\"\","
                "\"checksum\":\"\",\"policy\":3}]}";
    const JsonOwner object(AGENT(encode_PostPload_to_json)(&record));
    EXPECT_EQ(oneLine(object.get()), expected);
}

TEST_F(ServerAnswers, ReadBackWhatWasWritten) {
    auto record = std::make_unique<PostPload>();
    record->responseCode = -1;
    setText(record->responseMsg, std::string(99, 'r'));
    for (int i = 0; i < 16; ++i) {
        setText(record->versions[i].checksum, std::string(47, static_cast<char>('a' + i)));
    }
    const JsonOwner object(AGENT(encode_PostPload_to_json)(record.get()));
    auto again = std::make_unique<PostPload>();
    EXPECT_EQ(AGENT(parse_PostPload_from_json)(oneLine(object.get()).c_str(), again.get()), 0);
    EXPECT_EQ(std::memcmp(record.get(), again.get(), sizeof(PostPload)), 0);
}

} // namespace
