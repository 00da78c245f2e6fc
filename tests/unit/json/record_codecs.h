// SPDX-License-Identifier: MIT
// The seven records as the wire knows them, with their three calls each, for tests over all of
// them.
#pragma once

#include "agent_test.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace ota::test {

struct JsonDelete {
    void operator()(cJSON *item) const { cJSON_Delete(item); }
};
using JsonOwner = std::unique_ptr<cJSON, JsonDelete>;

// An object from a text that must parse; and the one-line text of an item.
JsonOwner json(const std::string &text);
std::string oneLine(const cJSON *item);
// A JSON string, quoted.
std::string quoted(const std::string &text);

struct WireField {
    std::string key;
    std::size_t offset;
    std::size_t width; // of a text; 0 for a number
    bool isEncoded = true;

    bool isText() const { return width != 0; }
    std::size_t size() const { return isText() ? width : sizeof(std::int32_t); }
};

struct RecordCodec {
    std::string name;
    std::size_t size;
    std::vector<WireField> fields;
    int (*parse)(const char *text, void *record);
    int (*decode)(const cJSON *object, void *record);
    JsonOwner (*encode)(const void *record);
};

const std::vector<RecordCodec> &recordCodecs();

// A record in memory, every byte set to `fill`.
class Record {
  public:
    Record(const RecordCodec &codec, char fill) : mBytes(codec.size, fill) {}

    void *data() { return mBytes.data(); }
    const std::vector<char> &bytes() const { return mBytes; }

    // The whole field, its last byte included.
    std::string field(const WireField &field) const {
        return {mBytes.data() + field.offset, field.size()};
    }
    std::int32_t number(const WireField &field) const;
    void setText(const WireField &field, const std::string &text);
    void setNumber(const WireField &field, std::int32_t value);

  private:
    std::vector<char> mBytes;
};

inline void PrintTo(const RecordCodec &codec, std::ostream *out) { *out << codec.name; }

inline std::string recordName(const testing::TestParamInfo<RecordCodec> &info) {
    return info.param.name;
}

// A record with a value of its own in every field, and the object that stands for it.
Record sampleRecord(const RecordCodec &codec);
std::string sampleObject(const RecordCodec &codec);

class RecordTest : public AgentTest, public testing::WithParamInterface<RecordCodec> {};

} // namespace ota::test

// Runs a fixture derived from RecordTest over all records.
#define OTA_OVER_ALL_RECORDS(Suite)                                                                \
    INSTANTIATE_TEST_SUITE_P(Records, Suite, testing::ValuesIn(recordCodecs()), recordName)
