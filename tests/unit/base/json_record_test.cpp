// SPDX-License-Identifier: MIT
// Records as JSON objects: what is written comes back, what is not exactly so is refused.
#include "base/json_record.h"

#include <gtest/gtest.h>

#include <list>

namespace shop {

struct Item {
    std::string name;
    int count = 0;
    bool sold = false;
    bool operator==(const Item &) const = default;
};

struct Shop {
    std::string colour = "red";
    std::optional<Item> first;
    std::list<Item> shelf;
    std::uint64_t money = 0;
    bool operator==(const Shop &) const = default;
};

bool isColour(const std::string &text) { return text == "red" || text == "green"; }

static constexpr auto fieldsOf(const Item * /*of*/) {
    using base::Field;
    return std::tuple{Field{"name", &Item::name, {.most = 5}},
                      Field{"count", &Item::count, {.least = -1, .most = 9, .leftOut = true}},
                      Field{"sold", &Item::sold}};
}

static constexpr auto fieldsOf(const Shop * /*of*/) {
    using base::Field;
    return std::tuple{
        Field{"colour", &Shop::colour, {.most = 9, .fits = isColour, .expected = "a colour"}},
        Field{"first", &Shop::first}, Field{"shelf", &Shop::shelf, {.most = 2}},
        Field{"money", &Shop::money, {.most = base::kMostWhole}}};
}

} // namespace shop

namespace {

using shop::Shop;

const Shop kFull{"green",
                 shop::Item{"chair", 1, true},
                 {{"desk", 0, false}, {"lamp", -1, true}},
                 9'007'199'254'740'992};
constexpr const char *kFullText =
    R"({"colour":"green","first":{"name":"chair","count":1,"sold":true},)"
    R"("shelf":[{"name":"desk","sold":false},{"name":"lamp","count":-1,"sold":true}],)"
    R"("money":9007199254740992})";

std::string complaintOf(const std::string &what, const std::string &by) {
    std::string text = kFullText;
    const std::size_t at = text.find(what);
    EXPECT_NE(at, std::string::npos) << what;
    const base::Json object = base::parsed(text.replace(at, what.size(), by));
    base::RecordReader reader("the shop");
    Shop read;
    EXPECT_FALSE(reader.read(object.get(), read)) << text;
    EXPECT_EQ(reader.metUnknownKey(),
              reader.whatIsWrong().find("holds a key") != std::string::npos);
    return reader.whatIsWrong();
}

TEST(ARecord, IsWrittenInTheOrderOfItsTable) {
    EXPECT_EQ(base::printed(base::asJson(kFull).get()), kFullText);
    EXPECT_EQ(base::printed(base::asJson(Shop{}).get()),
              R"({"colour":"red","first":null,"shelf":[],"money":0})");
    EXPECT_EQ(base::printed(base::asJson(kFull.shelf).get()),
              R"([{"name":"desk","sold":false},{"name":"lamp","count":-1,"sold":true}])");
}

TEST(ARecord, ComesBackAsItWasWritten) {
    for (const Shop &shop : {kFull, Shop{}}) {
        base::RecordReader reader("the shop");
        Shop back;
        const base::Json object = base::parsed(base::printed(base::asJson(shop).get()));
        EXPECT_TRUE(reader.read(object.get(), back)) << reader.whatIsWrong();
        EXPECT_EQ(back, shop);
    }
}

TEST(ARecord, IsRefusedWithThePlaceAndWhatWasExpected) {
    EXPECT_EQ(complaintOf(kFullText, "[]"), "the shop: expected an object");
    EXPECT_EQ(complaintOf("\"money\"", "\"Money\""), "\"money\": expected this key exactly once");
    EXPECT_EQ(complaintOf("\"money\"", "\"money\":1,\"money\""),
              "\"money\": expected this key exactly once");
    EXPECT_EQ(complaintOf("\"count\":1", "\"count\":1,\"count\":1"),
              "\"first.count\": expected this key once");
    EXPECT_EQ(complaintOf("\"money\"", "\"more\":1,\"money\""),
              "it holds a key that this release does not know");
    EXPECT_EQ(complaintOf("\"name\":\"lamp\"", "\"name\":\"lamp\",\"x\":1"),
              "\"shelf[1]\" holds a key that this release does not know");
    EXPECT_EQ(complaintOf("\"green\"", "\"blue\""), "\"colour\": expected a colour");
    EXPECT_EQ(complaintOf("\"chair\"", "\"chairs\""),
              "\"first.name\": expected a text of at most 5 bytes");
    EXPECT_EQ(complaintOf("\"chair\"", "7"), "\"first.name\": expected a text of at most 5 bytes");
    EXPECT_EQ(complaintOf("true", "1"), "\"first.sold\": expected true or false");
    EXPECT_EQ(complaintOf("{\"name\":\"desk\",\"sold\":false}", "{},{}"),
              "\"shelf\": expected a list of at most 2");
    EXPECT_EQ(complaintOf("{\"name\":\"desk\",\"sold\":false}", "[]"),
              "\"shelf[0]\": expected an object");
    for (const char *const count : {"10", "-2", "1.5", "\"1\"", "null", "1e99"}) {
        EXPECT_EQ(complaintOf("\"count\":1", std::string("\"count\":") + count),
                  "\"first.count\": expected a whole number within its bounds");
    }
}

} // namespace
