// SPDX-License-Identifier: MIT
// From a JSON object into a record: what is filled, what is cut, what is left as it was.
#include "record_codecs.h"

#include <limits>

using namespace ota::test;

namespace {

constexpr char kFill = 'z';

class Decoding : public RecordTest {
  protected:
    const RecordCodec &codec() const { return GetParam(); }
    Record filled() const { return Record(codec(), kFill); }

    // Decodes an object of one member; the decoder's result must be 0.
    Record decoded(const std::string &key, const std::string &value) const {
        Record record = filled();
        const JsonOwner object = json("{" + quoted(key) + ":" + value + "}");
        EXPECT_EQ(codec().decode(object.get(), record.data()), 0);
        return record;
    }

    // All bytes outside the field are as they were.
    void expectNothingElseWritten(Record record, const WireField &field) const {
        std::vector<char> bytes = record.bytes();
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(field.offset), field.size(), kFill);
        EXPECT_EQ(bytes, filled().bytes()) << field.key;
    }

    template <class Check>
    void forEachText(Check check) const {
        for (const WireField &field : codec().fields) {
            if (field.isText()) {
                check(field);
            }
        }
    }

    template <class Check>
    void forEachNumber(Check check) const {
        for (const WireField &field : codec().fields) {
            if (!field.isText()) {
                check(field);
            }
        }
    }
};

OTA_OVER_ALL_RECORDS(Decoding);

// What a text field of this width holds once a text was decoded into bytes of kFill.
std::string held(const std::string &text, std::size_t width) {
    std::string field = text.substr(0, width - 1);
    field.resize(width - 1, '\0');
    return field + kFill;
}

TEST_P(Decoding, FillsEveryFieldFromTheKeyOfItsName) {
    Record record(codec(), '\0');
    EXPECT_EQ(codec().decode(json(sampleObject(codec())).get(), record.data()), 0);
    EXPECT_EQ(record.bytes(), sampleRecord(codec()).bytes());
}

TEST_P(Decoding, TakesKeysInAnyOrderAndPassesOverUnknownOnes) {
    std::string members = "\"unknown\":[1,{}]";
    const Record sample = sampleRecord(codec());
    const JsonOwner ordered = json(sampleObject(codec()));
    for (const cJSON *item = ordered->child; item != nullptr; item = item->next) {
        members = quoted(item->string) + ":" + oneLine(item) + "," + members;
    }
    Record record(codec(), '\0');
    EXPECT_EQ(codec().decode(json("{" + members + "}").get(), record.data()), 0);
    EXPECT_EQ(record.bytes(), sample.bytes());
}

TEST_P(Decoding, PadsAShortTextWithZerosUpToTheLastByteWhichItNeverWrites) {
    forEachText([&](const WireField &field) {
        const Record record = decoded(field.key, "\"ab\"");
        EXPECT_EQ(record.field(field), held("ab", field.width)) << field.key;
        expectNothingElseWritten(record, field);
    });
}

TEST_P(Decoding, AnEmptyTextClearsAllButTheLastByte) {
    forEachText([&](const WireField &field) {
        EXPECT_EQ(decoded(field.key, "\"\"").field(field), held("", field.width)) << field.key;
    });
}

TEST_P(Decoding, TakesATextThatJustFitsWhole) {
    forEachText([&](const WireField &field) {
        const std::string text = std::string(field.width - 2, 'a') + "b";
        const Record record = decoded(field.key, quoted(text));
        EXPECT_EQ(record.field(field), text + kFill) << field.key;
        expectNothingElseWritten(record, field);
    });
}

TEST_P(Decoding, CutsALongerTextToWidthMinusOneAndNeverWritesTheLastByte) {
    forEachText([&](const WireField &field) {
        for (const std::size_t length : {field.width, field.width + 1, 3 * field.width}) {
            const Record record = decoded(field.key, quoted(std::string(length, 'a')));
            EXPECT_EQ(record.field(field), std::string(field.width - 1, 'a') + kFill) << field.key;
            expectNothingElseWritten(record, field);
        }
    });
}

TEST_P(Decoding, ALongTextInAZeroedRecordStaysTerminated) {
    forEachText([&](const WireField &field) {
        Record record(codec(), '\0');
        const JsonOwner object =
            json("{" + quoted(field.key) + ":" + quoted(std::string(field.width, 'a')) + "}");
        EXPECT_EQ(codec().decode(object.get(), record.data()), 0);
        EXPECT_EQ(record.field(field), std::string(field.width - 1, 'a') + '\0') << field.key;
    });
}

TEST_P(Decoding, StoresTheIntegerPartOfANumber) {
    forEachNumber([&](const WireField &field) {
        EXPECT_EQ(decoded(field.key, "2.9").number(field), 2) << field.key;
        EXPECT_EQ(decoded(field.key, "-2.9").number(field), -2) << field.key;
        EXPECT_EQ(decoded(field.key, "0").number(field), 0) << field.key;
        EXPECT_EQ(decoded(field.key, "1e3").number(field), 1000) << field.key;
        expectNothingElseWritten(decoded(field.key, "3"), field);
    });
}

TEST_P(Decoding, StoresTheNearestIntegerOfANumberThatIsTooLarge) {
    using Limits = std::numeric_limits<std::int32_t>;
    forEachNumber([&](const WireField &field) {
        EXPECT_EQ(decoded(field.key, "2147483647").number(field), Limits::max());
        EXPECT_EQ(decoded(field.key, "2147483648").number(field), Limits::max());
        EXPECT_EQ(decoded(field.key, "1e300").number(field), Limits::max());
        EXPECT_EQ(decoded(field.key, "-2147483648").number(field), Limits::min());
        EXPECT_EQ(decoded(field.key, "-1e300").number(field), Limits::min());
    });
}

TEST_P(Decoding, LeavesAFieldOfTheWrongTypeAsItWas) {
    for (const WireField &field : codec().fields) {
        for (const char *value : {"null", "true", "false", "[]", "[\"a\"]", "{}", "{\"a\":1}"}) {
            EXPECT_EQ(decoded(field.key, value).bytes(), filled().bytes())
                << field.key << ": " << value;
        }
    }
    forEachText([&](const WireField &field) {
        EXPECT_EQ(decoded(field.key, "3").bytes(), filled().bytes()) << field.key;
    });
    forEachNumber([&](const WireField &field) {
        EXPECT_EQ(decoded(field.key, "\"3\"").bytes(), filled().bytes()) << field.key;
    });
}

TEST_P(Decoding, GoesOnBehindAFieldOfTheWrongType) {
    const std::vector<WireField> &fields = codec().fields;
    const WireField &last = fields.back();
    const std::string wrong = fields.front().isText() ? "1" : "\"1\"";
    const std::string right = last.isText() ? "\"ab\"" : "5";
    const JsonOwner object = json("{" + quoted(fields.front().key) + ":" + wrong + "," +
                                  quoted(last.key) + ":" + right + "}");
    Record record = filled();
    EXPECT_EQ(codec().decode(object.get(), record.data()), 0);
    EXPECT_EQ(record.field(fields.front()), filled().field(fields.front()));
    EXPECT_NE(record.field(last), filled().field(last));
}

TEST_P(Decoding, LooksKeysUpInTheirExactCase) {
    for (const WireField &field : codec().fields) {
        std::string key = field.key;
        key[0] = static_cast<char>(key[0] - 'a' + 'A');
        const char *value = field.isText() ? "\"ab\"" : "5";
        EXPECT_EQ(decoded(key, value).bytes(), filled().bytes()) << key;
    }
}

TEST_P(Decoding, AnEmptyObjectChangesNothing) {
    Record record = filled();
    EXPECT_EQ(codec().decode(json("{}").get(), record.data()), 0);
    EXPECT_EQ(record.bytes(), filled().bytes());
}

TEST_P(Decoding, ANullObjectChangesNothing) {
    Record record = filled();
    EXPECT_EQ(codec().decode(nullptr, record.data()), 0);
    EXPECT_EQ(record.bytes(), filled().bytes());
}

TEST_P(Decoding, LogsNothingAndAsksThePlatformNothing) {
    Record record = filled();
    codec().decode(json("{\"model\":1}").get(), record.data());
    EXPECT_ENTRIES(journal().all(), entries());
}

} // namespace
