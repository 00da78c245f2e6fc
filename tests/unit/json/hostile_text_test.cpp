// SPDX-License-Identifier: MIT
// Texts made to break a parser: answered plainly, nothing written out of bounds, nothing leaked.
#include "record_codecs.h"

#include <limits>

using namespace ota::test;

namespace {

constexpr std::size_t kMegabyte = 1024 * 1024;
constexpr char kFill = 'z';

std::string repeated(const std::string &part, std::size_t count) {
    std::string text;
    text.reserve(part.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

class HostileTexts : public RecordTest {
  protected:
    const RecordCodec &codec() const { return GetParam(); }

    int parsed(const std::string &text) { return codec().parse(text.c_str(), mRecord.data()); }

    // A parse that must answer `result` and leave the record alone.
    void expectUntouched(const std::string &text, int result) {
        EXPECT_EQ(parsed(text), result) << text.substr(0, 80);
        EXPECT_EQ(mRecord.bytes(), mUntouched.bytes()) << text.substr(0, 80);
        EXPECT_EQ(outstandingJson(), 0);
    }

    const WireField *firstText() const {
        for (const WireField &field : codec().fields) {
            if (field.isText()) {
                return &field;
            }
        }
        return nullptr;
    }

    Record mRecord{GetParam(), kFill};
    const Record mUntouched{GetParam(), kFill};
};

OTA_OVER_ALL_RECORDS(HostileTexts);

TEST_P(HostileTexts, NestingDeeperThanTheParserGoesIsRefused) {
    expectUntouched(repeated("[", 100000), -1);
    expectUntouched(repeated("[", 100000) + repeated("]", 100000), -1);
    expectUntouched(repeated("{\"a\":", 100000) + "1" + repeated("}", 100000), -1);
}

TEST_P(HostileTexts, DeepNestingUnderAKeyOfTheRecordLeavesItAsItWas) {
    for (const WireField &field : codec().fields) {
        expectUntouched(
            "{" + quoted(field.key) + ":" + repeated("[", 900) + repeated("]", 900) + "}", 0);
    }
}

TEST_P(HostileTexts, AnythingButAnObjectAtTheTopChangesNothing) {
    for (const char *text : {"[]", "[1,2]", "[{\"model\":\"a\",\"policy\":1}]", "\"model\"", "17",
                             "-0", "true", "null"}) {
        expectUntouched(text, 0);
    }
}

TEST_P(HostileTexts, InvalidEscapesAndOpenTextsAreRefused) {
    const std::string key = firstText()->key;
    for (const char *value : {R"("\x41")", R"("\uD800")", R"("\uDC00")", R"("\uD800\u0041")",
                              "\"\\", "\"open", "\"\\u12"}) {
        expectUntouched("{" + quoted(key) + ":" + value + "}", -1);
    }
}

// The JSON library is free to refuse these or to read them as the end of the text.
TEST_P(HostileTexts, AnEscapedNulOrBrokenHexDigitsEndTheTextOrAreRefused) {
    const WireField &field = *firstText();
    for (const char *escape : {R"(\u0000)", R"(\uZZZZ)", R"(\u12G4)"}) {
        mRecord = mUntouched;
        const std::string text = "{" + quoted(field.key) + ":\"ab" + escape + "cd\"}";
        const int result = parsed(text);
        const std::string expected = result == 0 ? "ab" + std::string(field.width - 3, '\0') + kFill
                                                 : mUntouched.field(field);
        EXPECT_TRUE(result == 0 || result == -1) << text;
        EXPECT_EQ(mRecord.field(field), expected) << text;
        EXPECT_EQ(outstandingJson(), 0);
    }
}

TEST_P(HostileTexts, AMegabyteOfTextIsCutToTheField) {
    for (const WireField &field : codec().fields) {
        if (!field.isText()) {
            continue;
        }
        EXPECT_EQ(parsed("{" + quoted(field.key) + ":\"" + std::string(kMegabyte, 'a') + "\"}"), 0);
        EXPECT_EQ(mRecord.field(field), std::string(field.width - 1, 'a') + kFill) << field.key;
        EXPECT_EQ(outstandingJson(), 0);
    }
}

TEST_P(HostileTexts, AMegabyteOfKeyIsNoKeyOfTheRecord) {
    const std::string key = firstText()->key;
    expectUntouched("{\"" + key + std::string(kMegabyte, 'a') + "\":\"b\"}", 0);
}

TEST_P(HostileTexts, HugeNumbersEndAtTheNearestInteger) {
    using Limits = std::numeric_limits<std::int32_t>;
    for (const WireField &field : codec().fields) {
        if (field.isText()) {
            continue;
        }
        const auto numberOf = [&](const std::string &digits) {
            EXPECT_EQ(parsed("{" + quoted(field.key) + ":" + digits + "}"), 0) << digits;
            return mRecord.number(field);
        };
        EXPECT_EQ(numberOf("99999999999999999999"), Limits::max());
        EXPECT_EQ(numberOf("-99999999999999999999"), Limits::min());
        EXPECT_EQ(numberOf("1e999"), Limits::max());
        EXPECT_EQ(numberOf("-1e999"), Limits::min());
        EXPECT_EQ(numberOf("1e-999"), 0);
    }
}

TEST_P(HostileTexts, OfADuplicateKeyTheFirstOneCounts) {
    for (const WireField &field : codec().fields) {
        const std::string first = field.isText() ? "\"one\"" : "1";
        const std::string second = field.isText() ? "\"two\"" : "2";
        EXPECT_EQ(parsed("{" + quoted(field.key) + ":" + first + "," + quoted(field.key) + ":" +
                         second + "}"),
                  0);
        if (field.isText()) {
            EXPECT_STREQ(mRecord.field(field).c_str(), "one") << field.key;
        } else {
            EXPECT_EQ(mRecord.number(field), 1) << field.key;
        }
    }
}

TEST_P(HostileTexts, EveryCutOfAGoodTextIsRefused) {
    const std::string whole = sampleObject(codec());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        expectUntouched(whole.substr(0, length), -1);
    }
}

TEST_P(HostileTexts, EveryByteReplacedByAnotherIsAnsweredWithoutHarm) {
    const std::string whole = sampleObject(codec());
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const char byte : {'\xff', '"', '\\', '{', '\x01'}) {
            std::string text = whole;
            text[at] = byte;
            const int result = parsed(text);
            EXPECT_TRUE(result == 0 || result == -1) << text;
        }
    }
    EXPECT_EQ(outstandingJson(), 0);
}

using HostileArrays = AgentTest;

TEST_F(HostileArrays, ManyThousandVersionsFillSixteenSlotsOnly) {
    auto record = std::make_unique<PostPload>();
    const std::string text =
        "{\"versions\":[{}" + repeated(",{\"model\":\"m\",\"policy\":7}", 20000) + "]}";
    EXPECT_EQ(AGENT(parse_PostPload_from_json)(text.c_str(), record.get()), 0);
    EXPECT_EQ(record->versions[0].policy, 0);
    EXPECT_EQ(record->versions[15].policy, 7);
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(HostileArrays, VersionsThatAreNoObjectsUseUpTheirSlots) {
    auto record = std::make_unique<PostPload>();
    EXPECT_EQ(AGENT(parse_PostPload_from_json)("{\"versions\":[1,\"a\",null,[[]],{\"policy\":9}]}",
                                               record.get()),
              0);
    EXPECT_EQ(record->versions[3].policy, 0);
    EXPECT_EQ(record->versions[4].policy, 9);
}

} // namespace
