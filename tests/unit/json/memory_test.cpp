// SPDX-License-Identifier: MIT
// Memory that runs out inside the codec: no crash, no leak, and a plain answer.
#include "record_codecs.h"

using namespace ota::test;

namespace {

class CodecMemory : public RecordTest {
  protected:
    const RecordCodec &codec() const { return GetParam(); }
};

OTA_OVER_ALL_RECORDS(CodecMemory);

TEST_P(CodecMemory, AParseThatRunsOutOfMemoryAnswersMinusOneAndLeavesTheRecordAlone) {
    const std::string text = sampleObject(codec());
    const Record untouched(codec(), 'z');
    Record record = untouched;
    int result = 0;
    int failures = 0;
    withEveryAllocationFailing(
        Owner::kJson,
        [&](bool failed) {
            failures += failed ? 1 : 0;
            EXPECT_EQ(result, failed ? -1 : 0);
            EXPECT_EQ(record.bytes() == untouched.bytes(), failed);
            EXPECT_EQ(outstandingJson(), 0);
        },
        [&] { result = codec().parse(text.c_str(), record.data()); });
    EXPECT_GT(failures, 2);
}

TEST_P(CodecMemory, AnEncoderAnswersNullWhereItsObjectCannotBeMade) {
    Record record = sampleRecord(codec());
    failAllocation(Owner::kJson, 1);
    EXPECT_EQ(codec().encode(record.data()), nullptr);
    EXPECT_TRUE(allocationFailed());
    EXPECT_EQ(outstandingJson(), 0);
}

// A failure in its array makes a whole PostPload fail, so that record has a suite of its own.
std::vector<RecordCodec> recordsWithoutArrays() {
    std::vector<RecordCodec> codecs = recordCodecs();
    std::erase_if(codecs, [](const RecordCodec &codec) { return codec.name == "PostPload"; });
    return codecs;
}

class FlatRecordMemory : public CodecMemory {};

INSTANTIATE_TEST_SUITE_P(Records, FlatRecordMemory, testing::ValuesIn(recordsWithoutArrays()),
                         recordName);

TEST_P(FlatRecordMemory, AnEncoderLeavesOutOneMemberWhereMemoryRanOutOnTheWay) {
    Record record = sampleRecord(codec());
    const int whole = cJSON_GetArraySize(codec().encode(record.data()).get());
    JsonOwner object;
    int nth = 0;
    withEveryAllocationFailing(
        Owner::kJson,
        [&](bool failed) {
            if (++nth > 1) {
                ASSERT_NE(object, nullptr);
                EXPECT_EQ(cJSON_GetArraySize(object.get()), failed ? whole - 1 : whole);
            }
            object.reset();
            EXPECT_EQ(outstandingJson(), 0);
        },
        [&] { object = codec().encode(record.data()); });
    EXPECT_GT(nth, whole);
}

using PostPloadMemory = AgentTest;

TEST_F(PostPloadMemory, AnEncodedAnswerIsWholeInItsArrayOrThereIsNone) {
    PostPload record{};
    cJSON *object = nullptr;
    int refused = 0;
    withEveryAllocationFailing(
        Owner::kJson,
        [&](bool failed) {
            const cJSON *versions = cJSON_GetObjectItemCaseSensitive(object, "versions");
            refused += object == nullptr ? 1 : 0;
            EXPECT_TRUE(failed || object != nullptr);
            EXPECT_TRUE(versions == nullptr || cJSON_GetArraySize(versions) == 16);
            EXPECT_TRUE(failed || versions != nullptr);
            cJSON_Delete(object);
            EXPECT_EQ(outstandingJson(), 0);
        },
        [&] { object = AGENT(encode_PostPload_to_json)(&record); });
    // The object, the array, and each of the 16 elements' objects.
    EXPECT_EQ(refused, 18);
}

using HandOffMemory = AgentTest;

TEST_F(HandOffMemory, AFileServerObjectThatCannotBeMadeIsNull) {
    const OtaMatrixItem item{};
    const ActivationTime actTime{};
    failAllocation(Owner::kJson, 1);
    EXPECT_EQ(AGENT(encode_SwmgntFileServerInfo)(&item, &actTime), nullptr);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(HandOffMemory, NoFailureLeaksOrLeavesMoreThanOneMemberOut) {
    const OtaMatrixItem item{};
    const ActivationTime actTime{};
    cJSON *object = nullptr;
    int nth = 0;
    withEveryAllocationFailing(
        Owner::kJson,
        [&](bool failed) {
            if (++nth > 1) {
                EXPECT_EQ(cJSON_GetArraySize(object), failed ? 3 : 4);
            }
            cJSON_Delete(object);
            EXPECT_EQ(outstandingJson(), 0);
        },
        [&] { object = AGENT(encode_SwmgntFileServerInfo)(&item, &actTime); });
    EXPECT_GT(nth, 4);
}

using EnvelopeMemory = AgentTest;

TEST_F(EnvelopeMemory, WithoutAnInnerObjectTheAnswerIsNullAndTheRootKeepsItsMembers) {
    const SwmgntBroadcastInfo info{};
    bool seen = false;
    withEveryAllocationFailing(
        Owner::kJson, [&](bool) { EXPECT_EQ(outstandingJson(), 0); },
        [&] {
            // The root is not part of what fails: it is made before the countdown matters.
            const JsonOwner root(cJSON_CreateObject());
            if (root == nullptr) {
                return;
            }
            const cJSON *result = AGENT(swmgnt_encodeBroadcastinfoToJson)(root.get(), &info, 0);
            if (result == nullptr) {
                seen = true;
                EXPECT_EQ(oneLine(root.get()),
                          "{\"type\":\"\",\"sequence\":0,\"mac\":\"\",\"version\":\"\"}");
            } else {
                EXPECT_EQ(result, root.get());
            }
        });
    EXPECT_TRUE(seen);
}

} // namespace
