// SPDX-License-Identifier: MIT
// JSON as our programs read it from others and print it for others.
#include "base/json.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using base::Json;

std::string printedNumber(std::uint64_t number) {
    const Json object = base::newObject();
    base::add(object.get(), "n", number);
    return base::printed(object.get());
}

TEST(Json, IsPrintedInTheOrderInWhichItWasMade) {
    const Json object = base::message({{"event", "x\"\n"}, {"name", ""}});
    base::add(object.get(), "yes", true);
    base::add(object.get(), "least", std::numeric_limits<std::int64_t>::min());
    base::add(object.get(), "byte", std::uint8_t{200});
    base::add(object.get(), "half", 0.5);
    base::add(object.get(), "none", std::optional<std::uint64_t>());
    base::add(object.get(), "some", std::optional<std::uint64_t>(7));
    base::add(object.get(), "texts", std::vector<std::string>{"a", "b"});
    base::add(object.get(), "left out", static_cast<const char *>(nullptr));
    Json list = base::newList();
    base::append(list.get(), base::newNull());
    base::append(list.get(), base::newObject());
    base::add(object.get(), "list", std::move(list));
    EXPECT_EQ(base::printed(object.get()),
              R"({"event":"x\"\n","name":"","yes":true,"least":-9223372036854775808,"byte":200,)"
              R"("half":0.5,"none":null,"some":7,"texts":["a","b"],"list":[null,{}]})");
    EXPECT_EQ(base::printedInLines(base::message({{"a", "b"}}).get()), "{\n\t\"a\":\t\"b\"\n}");
}

TEST(Json, PrintsEveryDigitOfAWholeNumber) {
    for (const std::uint64_t number :
         {std::uint64_t{0}, std::uint64_t{4294967295}, std::uint64_t{999'999'999'999'999},
          std::uint64_t{1'000'000'000'000'000}, std::uint64_t{9'007'199'254'740'991},
          std::numeric_limits<std::uint64_t>::max()}) {
        EXPECT_EQ(printedNumber(number), "{\"n\":" + std::to_string(number) + "}");
    }
}

TEST(Json, ThatIsNotThereIsPrintedAsNothing) {
    EXPECT_EQ(base::printed(nullptr), "");
    EXPECT_EQ(base::printedInLines(nullptr), "");
}

TEST(Json, OfAnObjectAloneHasNothingElseAroundIt) {
    EXPECT_TRUE(base::parseObject(" {\"a\":1} \t\r\n"));
    for (const char *const text : {"", "[]", "7", "\"{}\"", "{}x", "{} {}", "{", "{\"a\":1"}) {
        EXPECT_FALSE(base::parseObject(text)) << text;
    }
    EXPECT_FALSE(base::parseObject(std::string_view("{}\0", 3)));
    EXPECT_FALSE(base::parseObject(std::string_view("{\"a\":1}", 6))) << "it ends with its length";
    EXPECT_FALSE(base::parseObject(std::string(100'000, '[') + std::string(100'000, ']')));
    EXPECT_FALSE(base::parseObject("{\"a\":" + std::string(100'000, '[')));
}

TEST(Json, OfAnyKindMayHaveMoreBehindIt) {
    EXPECT_EQ(base::textOf(base::parsed("{\"a\":\"b\"} and more").get(), "a"), "b");
    EXPECT_EQ(base::textOf(base::parsed("\"b\"").get()), "b");
    EXPECT_FALSE(base::parsed(""));
    EXPECT_FALSE(base::parsed("and more"));
}

TEST(Json, OrElseTheTextItselfIsShown) {
    EXPECT_EQ(base::printed(base::parsedOrText("").get()), "null");
    EXPECT_EQ(base::printed(base::parsedOrText("{\"a\":1}").get()), "{\"a\":1}");
    EXPECT_EQ(base::printed(base::parsedOrText("[1]").get()), "\"[1]\"");
    EXPECT_EQ(base::printed(base::parsedOrText("{} x").get()), "\"{} x\"");
}

TEST(Json, GivesWhatItHoldsAndNothingElse) {
    const Json object = base::parsed(R"({"text":"t","number":2.5,"large":1e30,"Text":"T"})");
    EXPECT_EQ(base::textOf(object.get(), "text"), "t");
    EXPECT_EQ(base::textOf(object.get(), "number"), "");
    EXPECT_EQ(base::textOf(object.get(), "TEXT"), "");
    EXPECT_EQ(base::numberIn(object.get(), "number"), 2.5);
    EXPECT_EQ(base::numberIn(object.get(), "text"), std::nullopt);
    EXPECT_EQ(base::numberOf(object.get(), "number"), 2);
    EXPECT_EQ(base::numberOf(object.get(), "large"), std::numeric_limits<int>::max());
    EXPECT_EQ(base::numberOf(object.get(), "text"), 0);
    EXPECT_EQ(base::numberOf(object.get(), "text", -1), -1);
    EXPECT_EQ(base::membersOf(object.get()).size(), 4U);
    EXPECT_EQ(base::textOf(base::membersOf(object.get()).back()), "T");
}

TEST(Json, ThatIsNotThereHoldsNothing) {
    const cJSON *const nothing = nullptr;
    EXPECT_EQ(base::itemOf(nothing, "key"), nullptr);
    EXPECT_FALSE(base::isObject(nothing));
    EXPECT_TRUE(base::membersOf(nothing).empty());
    EXPECT_EQ(base::textOf(nothing, "key"), "");
    EXPECT_EQ(base::numberOf(nothing, "key", 3), 3);
    EXPECT_FALSE(base::takeText(nothing, "key"));
    EXPECT_FALSE(base::takeObject(nothing, "key"));
    EXPECT_FALSE(base::takeInteger(nothing, "key"));
}

std::string complaintAboutInteger(const char *value) {
    const Json object = base::parsed(std::string("{\"n\":") + value + "}");
    const auto number = base::takeIntegerWithin(object.get(), "n", -1, 255);
    return number ? std::to_string(*number) : number.error().text;
}

TEST(Json, FromOutsideIsTakenWhereItFits) {
    EXPECT_EQ(complaintAboutInteger("-1"), "-1");
    EXPECT_EQ(complaintAboutInteger("2.55e2"), "255");
    EXPECT_EQ(complaintAboutInteger("256"), "\"n\" is out of range: expected -1 to 255");
    for (const char *const value : {"1.5", "1e99", "2147483648", "\"1\"", "true", "null"}) {
        EXPECT_EQ(complaintAboutInteger(value),
                  "\"n\" is missing or no whole number: expected a whole number");
    }
    const Json object = base::parsed(R"({"t":"text","o":{}})");
    EXPECT_EQ(*base::takeText(object.get(), "t"), "text");
    EXPECT_EQ(base::takeText(object.get(), "o").error().text,
              "\"o\" is missing or no text: expected a text");
    EXPECT_EQ(*base::takeObject(object.get(), "o"), base::itemOf(object.get(), "o"));
    EXPECT_EQ(base::takeObject(object.get(), "t").error().text,
              "\"t\" is missing or no object: expected an object");
}

} // namespace
