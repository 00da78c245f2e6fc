// SPDX-License-Identifier: MIT
// Whom an offer is for.
#include "checked_offers.h"

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

TEST(AddressesInOffers, AreThisNodesInAnyCase) {
    const Offer offer = accepted(Descriptor().withText("mac", "02:00:5e:10:00:01").text());
    EXPECT_EQ(offer.mac, "02:00:5e:10:00:01");
}

TEST(AddressesInOffers, AreNobodysWhileTheNodesIsNotKnown) {
    NodeIdentity node = thisNode();
    node.mac.clear();
    EXPECT_EQ(refusalOf(Descriptor(), node), "wrongMac mac");
    EXPECT_EQ(refusalOf(Descriptor().withText("mac", ""), node), "wrongMac mac");
}

} // namespace
