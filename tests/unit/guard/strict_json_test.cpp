// SPDX-License-Identifier: MIT
// Reading one object to the letter: single members.
#include "hostile_offers.h"

#include "guard/strict_json.h"

#include <gtest/gtest.h>

#include <limits>

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

StrictObject objectOf(std::string_view text) {
    StrictObject object;
    const auto refusal = object.read(text, "text");
    EXPECT_FALSE(refusal) << refusal->text();
    return object;
}

std::string nameOf(const std::optional<Refusal> &refusal) {
    return refusal ? rowOf(refusal->outcome).name : "";
}

TEST(StrictObjects, GiveTextsUpToTheirWidth) {
    const StrictObject object = objectOf(R"({"a":"1234"})");
    std::string value = "kept";
    EXPECT_EQ(nameOf(object.takeText("a", 4, value)), "keyTooLong");
    EXPECT_EQ(value, "kept");
    EXPECT_EQ(nameOf(object.takeText("a", 5, value)), "");
    EXPECT_EQ(value, "1234");
}

TEST(StrictObjects, GiveWholeNumbersAndTheNearestIntForLargerOnes) {
    const StrictObject object =
        objectOf(R"({"a":-7,"b":2147483648,"c":-99999999999,"d":1.5,"e":-2.0})");
    int value = 5;
    EXPECT_EQ(nameOf(object.takeWholeNumber("d", value)), "keyMistyped");
    EXPECT_EQ(value, 5);
    EXPECT_EQ(nameOf(object.takeWholeNumber("e", value)), "");
    EXPECT_EQ(value, -2);
    EXPECT_EQ(nameOf(object.takeWholeNumber("a", value)), "");
    EXPECT_EQ(value, -7);
    EXPECT_EQ(nameOf(object.takeWholeNumber("b", value)), "");
    EXPECT_EQ(value, std::numeric_limits<int>::max());
    EXPECT_EQ(nameOf(object.takeWholeNumber("c", value)), "");
    EXPECT_EQ(value, std::numeric_limits<int>::min());
}

TEST(StrictObjects, KnowAKeyBySpellingAndCase) {
    const StrictObject object = objectOf(R"({"a":"1","\u0062":"2","c":"3","\u0063":"4"})");
    std::string value;
    EXPECT_TRUE(object.has("b"));
    EXPECT_FALSE(object.has("A"));
    EXPECT_EQ(nameOf(object.takeText("b", 9, value)), "");
    EXPECT_EQ(value, "2");
    EXPECT_EQ(nameOf(object.takeText("c", 9, value)), "keyRepeated");
    EXPECT_EQ(nameOf(object.takeText("A", 9, value)), "keyMissing");
}

TEST(StrictObjects, AreEmptyAfterARefusal) {
    StrictObject object = objectOf(R"({"a":"1"})");
    EXPECT_EQ(nameOf(object.read("{", "text")), "descriptorNotOneObject");
    EXPECT_FALSE(object.has("a"));
    std::string value;
    EXPECT_EQ(nameOf(object.takeText("a", 9, value)), "keyMissing");
    const std::string large(StrictObject::kMaxText + 1, ' ');
    EXPECT_EQ(nameOf(object.read(large, "text")), "descriptorTooLarge");
}

} // namespace
