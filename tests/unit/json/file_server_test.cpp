// SPDX-License-Identifier: MIT
// The hand-off of an offloaded image to the gateway.
#include "record_codecs.h"

using namespace ota::test;

namespace {

class FileServerObject : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        setText(mItem.model, "Gate-1");
        setText(mItem.nxtMSVersion, "2.0");
        setText(mItem.fileServerURL, "http://files/image");
        setText(mItem.checksum, "0123456789abcdef");
        setText(mItem.mac, "00:1A:2B:3C:4D:5E");
        setText(mActTime.model, "another");
        setText(mActTime.actTime, "03:30");
    }

    std::string encoded() const {
        const JsonOwner object(AGENT(encode_SwmgntFileServerInfo)(&mItem, &mActTime));
        return oneLine(object.get());
    }

    std::string withTime(const std::string &time) const {
        return "{\"fileServerURL\":\"http://files/image\",\"activationTime\":\"" + time +
               "\",\"checksum\":\"0123456789abcdef\",\"swVersion\":\"2.0\"}";
    }

    OtaMatrixItem mItem{};
    ActivationTime mActTime{};
};

TEST_F(FileServerObject, HasFourTextsInOrderAndCallsTheVersionSwVersion) {
    mItem.policy = 0;
    EXPECT_EQ(encoded(), withTime("03:30"));
}

TEST_F(FileServerObject, HasAnEmptyTimeForPolicyOneOnly) {
    mItem.policy = 1;
    EXPECT_EQ(encoded(), withTime(""));
    for (const std::int32_t policy : {0, 2, 3, -1, 4, 100}) {
        mItem.policy = policy;
        EXPECT_EQ(encoded(), withTime("03:30")) << policy;
    }
}

TEST_F(FileServerObject, HasAnEmptyTimeWhereNoneIsKnown) {
    setText(mActTime.actTime, "");
    EXPECT_EQ(encoded(), withTime(""));
}

TEST_F(FileServerObject, IsNullWhereAnArgumentIsNull) {
    EXPECT_EQ(AGENT(encode_SwmgntFileServerInfo)(nullptr, &mActTime), nullptr);
    EXPECT_EQ(AGENT(encode_SwmgntFileServerInfo)(&mItem, nullptr), nullptr);
    EXPECT_EQ(AGENT(encode_SwmgntFileServerInfo)(nullptr, nullptr), nullptr);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(FileServerObject, IsMadeWithoutALogLine) {
    encoded();
    EXPECT_ENTRIES(journal().all(), entries());
}

} // namespace
