// SPDX-License-Identifier: MIT
// Arrays of records: order, limits, and what a failure leaves behind.
#include "record_codecs.h"

#include <array>

using namespace ota::test;

namespace {

using Numbers = std::array<std::int32_t, 6>;

std::vector<const void *> gSlots;
int gRefuseAt = -1;

int takeNumber(const cJSON *element, void *slot) {
    const HarnessScope harness;
    gSlots.push_back(slot);
    *static_cast<std::int32_t *>(slot) = element->valueint;
    return -1; // the result of an element's decoder is not looked at
}

cJSON *makeNumber(const void *slot) {
    const HarnessScope harness;
    if (static_cast<int>(gSlots.size()) == gRefuseAt) {
        return nullptr;
    }
    gSlots.push_back(slot);
    return cJSON_CreateNumber(*static_cast<const std::int32_t *>(slot));
}

class ObjectArrays : public AgentTest {
  protected:
    void SetUp() override {
        AgentTest::SetUp();
        gSlots.clear();
        gRefuseAt = -1;
    }

    int read(const char *text, int maxCount) {
        const JsonOwner array = json(text);
        return AGENT(cJSON_GetObjectArray)(array.get(), mNumbers.data(), sizeof(std::int32_t),
                                           maxCount, takeNumber);
    }

    JsonOwner made(int count) {
        return JsonOwner(AGENT(cJSON_CreateObjectArray)(mNumbers.data(), count,
                                                        sizeof(std::int32_t), makeNumber));
    }

    Numbers mNumbers{-1, -1, -1, -1, -1, -1};
};

TEST_F(ObjectArrays, ElementsAreDecodedInOrderIntoSlotsOfTheElementSize) {
    EXPECT_EQ(read("[10,20,30]", 6), 3);
    EXPECT_EQ(mNumbers, (Numbers{10, 20, 30, -1, -1, -1}));
    EXPECT_EQ(gSlots, (std::vector<const void *>{&mNumbers[0], &mNumbers[1], &mNumbers[2]}));
}

TEST_F(ObjectArrays, NoMoreThanTheMaximumIsDecoded) {
    EXPECT_EQ(read("[10,20,30]", 2), 2);
    EXPECT_EQ(mNumbers, (Numbers{10, 20, -1, -1, -1, -1}));
}

TEST_F(ObjectArrays, AMaximumOfZeroOrLessDecodesNothing) {
    EXPECT_EQ(read("[10,20]", 0), 0);
    EXPECT_EQ(read("[10,20]", -3), 0);
    EXPECT_TRUE(gSlots.empty());
}

TEST_F(ObjectArrays, AnEmptyArrayDecodesNothing) {
    EXPECT_EQ(read("[]", 6), 0);
    EXPECT_TRUE(gSlots.empty());
}

TEST_F(ObjectArrays, SlotsMayLieFurtherApartThanWhatIsDecoded) {
    const JsonOwner array = json("[10,20,30]");
    EXPECT_EQ(AGENT(cJSON_GetObjectArray)(array.get(), mNumbers.data(), 2 * sizeof(std::int32_t), 6,
                                          takeNumber),
              3);
    EXPECT_EQ(mNumbers, (Numbers{10, -1, 20, -1, 30, -1}));
}

TEST_F(ObjectArrays, ANullArrayIsReadAsNothing) {
    EXPECT_EQ(
        AGENT(cJSON_GetObjectArray)(nullptr, mNumbers.data(), sizeof(std::int32_t), 6, takeNumber),
        0);
    EXPECT_TRUE(gSlots.empty());
}

TEST_F(ObjectArrays, AnythingButAnArrayIsReadAsNothing) {
    for (const char *text : {"{\"a\":1,\"b\":2}", "3", "\"text\"", "null", "true"}) {
        EXPECT_EQ(read(text, 6), 0) << text;
    }
    EXPECT_TRUE(gSlots.empty());
    EXPECT_EQ(mNumbers, (Numbers{-1, -1, -1, -1, -1, -1}));
}

TEST_F(ObjectArrays, SlotsAreEncodedInOrder) {
    mNumbers = {1, 2, 3, 0, 5, 6};
    EXPECT_EQ(oneLine(made(5).get()), "[1,2,3,0,5]");
    EXPECT_EQ(gSlots, (std::vector<const void *>{&mNumbers[0], &mNumbers[1], &mNumbers[2],
                                                 &mNumbers[3], &mNumbers[4]}));
}

TEST_F(ObjectArrays, ACountOfZeroOrLessGivesAnEmptyArray) {
    EXPECT_EQ(oneLine(made(0).get()), "[]");
    EXPECT_EQ(oneLine(made(-1).get()), "[]");
    EXPECT_TRUE(gSlots.empty());
}

TEST_F(ObjectArrays, AnElementThatCannotBeMadeGivesNullAndLeavesNothingBehind) {
    for (gRefuseAt = 0; gRefuseAt < 3; ++gRefuseAt) {
        gSlots.clear();
        EXPECT_EQ(made(3), nullptr) << gRefuseAt;
        EXPECT_EQ(static_cast<int>(gSlots.size()), gRefuseAt);
        EXPECT_EQ(outstandingJson(), 0);
    }
}

TEST_F(ObjectArrays, AnArrayThatCannotBeMadeGivesNullAndEncodesNothing) {
    failAllocation(Owner::kJson, 1);
    EXPECT_EQ(made(3), nullptr);
    EXPECT_TRUE(gSlots.empty());
    EXPECT_EQ(outstandingJson(), 0);
}

TEST_F(ObjectArrays, NothingIsLogged) {
    read("{}", 6);
    made(1);
    EXPECT_ENTRIES(journal().all(), entries());
}

} // namespace
