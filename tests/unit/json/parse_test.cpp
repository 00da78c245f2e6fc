// SPDX-License-Identifier: MIT
// From a text into a record: which texts are refused, and what a refusal leaves behind.
#include "record_codecs.h"

using namespace ota::test;

namespace {

constexpr char kFill = 'z';

class Parsing : public RecordTest {
  protected:
    const RecordCodec &codec() const { return GetParam(); }
    Record mRecord{GetParam(), kFill};
    const Record mUntouched{GetParam(), kFill};
};

OTA_OVER_ALL_RECORDS(Parsing);

TEST_P(Parsing, FillsTheRecordAndAnswersZero) {
    Record record(codec(), '\0');
    EXPECT_EQ(codec().parse(sampleObject(codec()).c_str(), record.data()), 0);
    EXPECT_EQ(record.bytes(), sampleRecord(codec()).bytes());
}

TEST_P(Parsing, RefusesANullText) {
    EXPECT_EQ(codec().parse(nullptr, mRecord.data()), -1);
    EXPECT_EQ(mRecord.bytes(), mUntouched.bytes());
}

TEST_P(Parsing, RefusesANullRecord) {
    EXPECT_EQ(codec().parse(sampleObject(codec()).c_str(), nullptr), -1);
    EXPECT_EQ(codec().parse(nullptr, nullptr), -1);
}

TEST_P(Parsing, RefusesATextThatIsNoJsonAndLeavesTheRecordAlone) {
    const std::string whole = sampleObject(codec());
    for (const std::string &text :
         {std::string(), std::string(" \n"), std::string("{"), std::string("nonsense"),
          std::string("{model:1}"), whole.substr(0, whole.size() - 1)}) {
        EXPECT_EQ(codec().parse(text.c_str(), mRecord.data()), -1) << text;
        EXPECT_EQ(mRecord.bytes(), mUntouched.bytes()) << text;
    }
}

TEST_P(Parsing, AnEmptyObjectChangesNothingAndAnswersZero) {
    EXPECT_EQ(codec().parse("{}", mRecord.data()), 0);
    EXPECT_EQ(mRecord.bytes(), mUntouched.bytes());
}

TEST_P(Parsing, AnswersZeroWhereEveryFieldHasTheWrongType) {
    std::string members;
    for (const WireField &field : codec().fields) {
        members += (members.empty() ? "" : ",") + quoted(field.key) + ":" +
                   (field.isText() ? "17" : "\"17\"");
    }
    EXPECT_EQ(codec().parse(("{" + members + "}").c_str(), mRecord.data()), 0);
    EXPECT_EQ(mRecord.bytes(), mUntouched.bytes());
}

TEST_P(Parsing, NeverWritesTheLastByteOfAText) {
    for (const WireField &field : codec().fields) {
        if (!field.isText()) {
            continue;
        }
        const std::string text =
            "{" + quoted(field.key) + ":" + quoted(std::string(2 * field.width, 'a')) + "}";
        EXPECT_EQ(codec().parse(text.c_str(), mRecord.data()), 0);
        EXPECT_EQ(mRecord.field(field), std::string(field.width - 1, 'a') + kFill) << field.key;
    }
}

TEST_P(Parsing, ReleasesItsTreeOnEveryWayOut) {
    codec().parse(sampleObject(codec()).c_str(), mRecord.data());
    codec().parse("{\"model\":", mRecord.data());
    codec().parse("[1,2,3]", mRecord.data());
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_P(Parsing, LogsNothing) {
    codec().parse("nonsense", mRecord.data());
    codec().parse("{}", mRecord.data());
    EXPECT_ENTRIES(journal().all(), entries());
}

TEST_P(Parsing, DoesNotLookAtWhatFollowsTheObject) {
    Record record(codec(), '\0');
    EXPECT_EQ(codec().parse((sampleObject(codec()) + " and more {").c_str(), record.data()), 0);
    EXPECT_EQ(record.bytes(), sampleRecord(codec()).bytes());
}

} // namespace
