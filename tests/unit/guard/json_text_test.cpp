// SPDX-License-Identifier: MIT
// The grammar of an object, and UTF-8, to the letter.
#include "hostile_offers.h"

#include "base/text.h"
#include "guard/json_text.h"

#include <gtest/gtest.h>

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

std::string faultOf(std::string_view text) {
    std::vector<std::string_view> values;
    std::string fault;
    return scanObject(text, values, fault) ? "" : fault;
}

TEST(JsonText, TakesEverythingThatTheGrammarHas) {
    for (const char *text :
         {"{}", " {\t}\r\n", R"({"":""})", R"({"a":[1,-0,0.5,-1e+10,1E-2,true,false,null,{}]})",
          R"({"a":"\"\\\/\b\f\n\r\t\u0041\ud83d\ude00"})",
          "{\"a\":\"\x7F\xC3\xA9\xF4\x8F\xBF\xBF\"}", R"({"a":1 , "a" : [ ] })"}) {
        EXPECT_EQ(faultOf(text), "") << text;
    }
}

TEST(JsonText, SaysWhatIsWrongAndWhere) {
    EXPECT_EQ(faultOf(""), "is not a JSON object: expected { at byte 0");
    EXPECT_EQ(faultOf("[1]"), "is not a JSON object: expected { at byte 0");
    EXPECT_EQ(faultOf("{} {}"), "has something behind the object at byte 3");
    EXPECT_EQ(faultOf("{\"a\" 1}"), "is not JSON: expected : at byte 5");
    EXPECT_EQ(faultOf("{\"a\":1"), "is not JSON: expected } at byte 6");
    EXPECT_EQ(faultOf("{\"a\":\"1"), "is not JSON: a text without end at byte 7");
    EXPECT_EQ(faultOf("{\"a\":\"\n\"}"), "is not JSON: control character in a text at byte 6");
    EXPECT_EQ(faultOf("{\"a\":\"\\u0000\"}"), "holds an escaped NUL at byte 12");
    EXPECT_EQ(faultOf(std::string_view("{}\0", 3)), "holds a NUL at byte 2");
    EXPECT_EQ(faultOf("{\"\xFF\":1}"), "is not UTF-8 at byte 2");
    EXPECT_EQ(faultOf("{\"a\":[[[[[[[[1]]]]]]]]}"), "nests deeper than 8 at byte 12");
    for (const char *low : {"\\udbff", "\\ue000", "\\ud800"}) {
        EXPECT_EQ(faultOf("{\"a\":\"\\ud800" + std::string(low) + "\"}"),
                  "is not JSON: half a surrogate pair at byte 18");
    }
    EXPECT_EQ(faultOf("{\"a\":\"\\udc00\"}"), "is not JSON: half a surrogate pair at byte 12");
    EXPECT_EQ(faultOf("{\"a\":-}"), "is not JSON: expected a number at byte 6");
}

// A second opinion: what is a character is decoded to its number and encoded anew.
std::string encoded(unsigned point) {
    const auto tail = [point](unsigned shift) {
        return static_cast<char>(0x80U | ((point >> shift) & 0x3FU));
    };
    if (point < 0x80) {
        return {static_cast<char>(point)};
    }
    if (point < 0x800) {
        return {static_cast<char>(0xC0U | (point >> 6U)), tail(0)};
    }
    if (point < 0x10000) {
        return {static_cast<char>(0xE0U | (point >> 12U)), tail(6), tail(0)};
    }
    return {static_cast<char>(0xF0U | (point >> 18U)), tail(12), tail(6), tail(0)};
}

TEST(Utf8, IsValidForEveryCharacterAndForNoSurrogate) {
    for (unsigned point = 0; point <= 0x110010; ++point) {
        const bool isCharacter = point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
        const std::string text = encoded(point);
        ASSERT_EQ(validUtf8(text), isCharacter ? text.size() : 0) << std::hex << point;
        if (text.size() > 1) {
            ASSERT_EQ(validUtf8(text.substr(0, text.size() - 1)), 0U) << std::hex << point;
        }
    }
}

TEST(Utf8, IsNotValidWhereACharacterIsBroken) {
    for (const std::string &bytes : badUtf8()) {
        EXPECT_EQ(validUtf8("ab" + bytes), 2U);
        EXPECT_EQ(validUtf8("ab" + bytes + "cd"), 2U);
    }
}

} // namespace
