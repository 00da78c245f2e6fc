// SPDX-License-Identifier: MIT
// What goes on to the agent is written anew.
#include "checked_offers.h"

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

TEST(CanonicalOffers, LackUnknownKeysTheirOrderAndTheirSpelling) {
    const std::string expected = accepted(Descriptor().text()).descriptor;
    EXPECT_EQ(accepted(" \t\r\n" + Descriptor().text() + "\n").descriptor, expected);
    EXPECT_EQ(accepted(Descriptor()
                           .adding("\"Model\"", "\"$(touch x)\"")
                           .adding("\"extra\"", "{\"model\":[1,2,{\"a\":null}]}")
                           .adding("\"extra\"", "true")
                           .text())
                  .descriptor,
              expected);
    EXPECT_EQ(accepted(Descriptor()
                           .without("model")
                           .adding("\"\\u006dod\\u0065l\"", "\"\\u0047W-1000\"")
                           .text())
                  .descriptor,
              expected);
    EXPECT_EQ(
        accepted(
            Descriptor().with("fileServerURL", R"("https:\/\/files.example\/4QZ2.1.0.img")").text())
            .descriptor,
        expected);
}

TEST(CanonicalOffers, AreAcceptedAgainAsTheyAre) {
    const Offer first = accepted(Descriptor().adding("\"x\"", "1").text());
    EXPECT_EQ(accepted(first.descriptor).descriptor, first.descriptor);
}

} // namespace
