// SPDX-License-Identifier: MIT
// From a record to a new object: its members, their order, and the way back.
#include "record_codecs.h"

#include <limits>

using namespace ota::test;

namespace {

class Encoding : public RecordTest {
  protected:
    const RecordCodec &codec() const { return GetParam(); }
    bool hasVersions() const { return codec().name == "PostPload"; }

    // The encoded object without the array that has tests of its own.
    JsonOwner encoded(Record &record) const {
        JsonOwner object = codec().encode(record.data());
        if (hasVersions()) {
            const JsonOwner versions(
                cJSON_DetachItemFromObjectCaseSensitive(object.get(), "versions"));
            EXPECT_NE(versions, nullptr);
        }
        return object;
    }
};

OTA_OVER_ALL_RECORDS(Encoding);

TEST_P(Encoding, WritesEveryWireFieldInRecordOrder) {
    std::vector<std::string> expected;
    for (const WireField &field : codec().fields) {
        if (field.isEncoded) {
            expected.push_back(field.key);
        }
    }
    Record record = sampleRecord(codec());
    std::vector<std::string> keys;
    const JsonOwner object = encoded(record);
    for (const cJSON *item = object->child; item != nullptr; item = item->next) {
        keys.push_back(item->string);
    }
    EXPECT_EQ(keys, expected);
}

TEST_P(Encoding, WritesTextsAsStringsAndNumbersAsNumbers) {
    Record record = sampleRecord(codec());
    const JsonOwner object = encoded(record);
    for (const WireField &field : codec().fields) {
        if (!field.isEncoded) {
            continue;
        }
        const cJSON *item = cJSON_GetObjectItemCaseSensitive(object.get(), field.key.c_str());
        if (field.isText()) {
            ASSERT_TRUE(cJSON_IsString(item)) << field.key;
            EXPECT_STREQ(item->valuestring, record.field(field).c_str());
        } else {
            ASSERT_TRUE(cJSON_IsNumber(item)) << field.key;
            EXPECT_EQ(item->valuedouble, record.number(field));
        }
    }
}

TEST_P(Encoding, WritesAZeroedRecordAsEmptyTextsAndZeros) {
    Record record(codec(), '\0');
    std::string expected;
    for (const WireField &field : codec().fields) {
        if (field.isEncoded) {
            expected += (expected.empty() ? "" : ",") + quoted(field.key) + ":" +
                        (field.isText() ? "\"\"" : "0");
        }
    }
    EXPECT_EQ(oneLine(encoded(record).get()), "{" + expected + "}");
}

TEST_P(Encoding, KeepsTheWholeRangeOfANumber) {
    using Limits = std::numeric_limits<std::int32_t>;
    for (const std::int32_t value : {Limits::min(), -1, Limits::max()}) {
        Record record(codec(), '\0');
        for (const WireField &field : codec().fields) {
            if (!field.isText()) {
                record.setNumber(field, value);
                const JsonOwner object = encoded(record);
                EXPECT_EQ(oneLine(cJSON_GetObjectItem(object.get(), field.key.c_str())),
                          std::to_string(value));
            }
        }
    }
}

TEST_P(Encoding, ReadsBackWhatItWrote) {
    const Record sample = sampleRecord(codec());
    Record record = sample;
    const JsonOwner object = codec().encode(record.data());
    Record again(codec(), '\0');
    EXPECT_EQ(codec().parse(oneLine(object.get()).c_str(), again.data()), 0);
    for (const WireField &field : codec().fields) {
        if (!field.isEncoded) {
            record.setText(field, "");
        }
    }
    EXPECT_EQ(again.bytes(), record.bytes());
}

TEST_P(Encoding, AnswersNullForANullRecord) {
    EXPECT_EQ(codec().encode(nullptr), nullptr);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_P(Encoding, MakesANewObjectThatTheCallerReleases) {
    Record record = sampleRecord(codec());
    JsonOwner first = codec().encode(record.data());
    const JsonOwner second = codec().encode(record.data());
    EXPECT_NE(first, second);
    first.reset();
    EXPECT_TRUE(cJSON_IsObject(second.get()));
}

TEST_P(Encoding, LogsNothing) {
    Record record = sampleRecord(codec());
    encoded(record);
    codec().encode(nullptr);
    EXPECT_ENTRIES(journal().all(), entries());
}

using SwmgntCfgEncoding = AgentTest;

TEST_F(SwmgntCfgEncoding, LeavesThePollingTimeOutAlthoughItIsRead) {
    SwmgntCfg record{};
    EXPECT_EQ(AGENT(parse_SwmgntCfg_from_json)("{\"url\":\"u\",\"key\":\"k\","
                                               "\"activationTime\":\"01:00\","
                                               "\"pollingTime\":\"02:00\"}",
                                               &record),
              0);
    EXPECT_STREQ(record.pollingTime, "02:00");
    const JsonOwner object(AGENT(encode_SwmgntCfg_to_json)(&record));
    EXPECT_EQ(oneLine(object.get()), "{\"url\":\"u\",\"key\":\"k\",\"activationTime\":\"01:00\"}");
}

} // namespace
