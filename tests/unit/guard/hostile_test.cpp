// SPDX-License-Identifier: MIT
// What is sent to harm: each text is refused, for the right reason, and nothing else happens.
#include "descriptor.h"
#include "hostile_offers.h"
#include "seal.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

bool isOnePrintableLine(const std::string &text) {
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](char byte) { return byte >= ' ' && byte <= '~'; });
}

TEST(HostileOffers, AreRefusedWithTheirOutcomeAndField) {
    for (const HostileOffer &hostile : hostileOffers()) {
        Offer offer;
        const auto refusal = checkOffer(hostile.text, thisNode(), {}, offer);
        ASSERT_TRUE(refusal) << hostile.what << " was accepted: " << hostile.text.substr(0, 400);
        EXPECT_STREQ(rowOf(refusal->outcome).name, rowOf(hostile.outcome).name)
            << hostile.what.substr(0, 200) << ": " << refusal->text();
        EXPECT_EQ(refusal->field, hostile.field) << hostile.what.substr(0, 200);
    }
}

TEST(HostileOffers, LeaveTheOfferUntouched) {
    Offer offer;
    offer.descriptor = "kept";
    offer.version = "kept";
    for (const HostileOffer &hostile : hostileOffers()) {
        static_cast<void>(checkOffer(hostile.text, thisNode(), {}, offer));
    }
    EXPECT_EQ(offer.descriptor, "kept");
    EXPECT_EQ(offer.version, "kept");
    EXPECT_TRUE(offer.url.empty());
}

TEST(HostileOffers, AreToldInOneShortPrintableLine) {
    for (const HostileOffer &hostile : hostileOffers()) {
        Offer offer;
        const auto refusal = checkOffer(hostile.text, thisNode(), {}, offer);
        ASSERT_TRUE(refusal);
        EXPECT_TRUE(isOnePrintableLine(refusal->text())) << hostile.what.substr(0, 200);
        EXPECT_LT(refusal->text().size(), 250U) << refusal->text();
        EXPECT_TRUE(refusal->text().starts_with(hostile.field + ": "));
    }
}

// The refusals all have an error on the bus.
TEST(HostileOffers, HaveABusErrorEach) {
    for (const HostileOffer &hostile : hostileOffers()) {
        EXPECT_STRNE(rowOf(hostile.outcome).busError, "") << rowOf(hostile.outcome).name;
    }
}

[[noreturn]] void judgeAllSealed() {
    const std::vector<HostileOffer> &offers = hostileOffers();
    Offer first; // at its URL libcurl is loaded
    if (checkOffer(Descriptor().text(), thisNode(), {true, "4QZ1"}, first)) {
        std::_Exit(1);
    }
    sealProcess();
    for (const HostileOffer &hostile : offers) {
        Offer offer;
        if (!checkOffer(hostile.text, thisNode(), {true, "4QZ1"}, offer)) {
            // Only plain http differs by these rules; whatever is let through is harmless.
            if (hostile.outcome != Outcome::plainHttpForbidden) {
                std::_Exit(1);
            }
        }
    }
    std::_Exit(0);
}

TEST(HostileOffersDeathTest, StartNoProcessAndTouchNoFile) {
    EXPECT_EXIT(judgeAllSealed(), testing::ExitedWithCode(0), "");
}

TEST(HostileOffersDeathTest, WouldBeCaughtTouchingAFile) {
    EXPECT_EXIT(
        {
            sealProcess();
            static_cast<void>(open("/dev/null", O_RDONLY | O_CLOEXEC));
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGSYS), "");
}

TEST(HostileOffersDeathTest, WouldBeCaughtStartingAProcess) {
    EXPECT_EXIT(
        {
            sealProcess();
            static_cast<void>(std::system("exit 0"));
            std::_Exit(0);
        },
        testing::KilledBySignal(SIGSYS), "");
}

TEST(HostileOffers, AreMany) {
    const std::size_t count = hostileOffers().size();
    RecordProperty("hostile_inputs", static_cast<int>(count));
    std::printf("hostile inputs: %zu\n", count);
    EXPECT_GT(count, 1500U);
}

} // namespace
