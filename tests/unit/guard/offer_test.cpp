// SPDX-License-Identifier: MIT
// Which offers are let through, what becomes of them, and which mistake is told first.
#include "checked_offers.h"

#include <gtest/gtest.h>

using namespace base;
using namespace guard;
using namespace guard::test;

namespace {

std::string padded(const std::string &text, std::size_t size) {
    return text + std::string(size - text.size(), ' ');
}

TEST(Offers, GiveTheFieldsAndTheSixKeysInTheRecordsOrder) {
    const Offer offer = accepted(Descriptor().text());
    EXPECT_EQ(offer.model, "GW-1000");
    EXPECT_EQ(offer.version, "4QZ2.1.0");
    EXPECT_EQ(offer.url, "https://files.example/4QZ2.1.0.img");
    EXPECT_EQ(offer.checksum, "0123456789abcdef0123456789abcdef");
    EXPECT_EQ(offer.mac, "02:00:5E:10:00:01");
    EXPECT_EQ(offer.policy, 1);
    EXPECT_EQ(offer.descriptor,
              R"({"model":"GW-1000","nxtMSVersion":"4QZ2.1.0",)"
              R"("fileServerURL":"https://files.example/4QZ2.1.0.img",)"
              R"("checksum":"0123456789abcdef0123456789abcdef","mac":"02:00:5E:10:00:01",)"
              R"("policy":1})");
}

TEST(Offers, MayHave64KiBAndNotAByteMore) {
    EXPECT_EQ(refusalOf(padded(Descriptor().text(), 65536)), "");
    EXPECT_EQ(refusalOf(padded(Descriptor().text(), 65537)), "descriptorTooLarge descriptor");
}

TEST(Offers, MayNestEightDeepAndNotDeeper) {
    EXPECT_EQ(refusalOf(Descriptor().adding("\"x\"", "[[[[[[[]]]]]]]")), "");
    EXPECT_EQ(refusalOf(Descriptor().adding("\"x\"", "[[[[[[[[]]]]]]]]")),
              "descriptorNotOneObject descriptor");
}

TEST(Offers, TakeAVersionOf63CharactersWhereTheNodeDoes) {
    NodeIdentity node = thisNode();
    node.longestVersion = 63;
    const std::string version = "4QZ" + std::string(60, '9');
    EXPECT_EQ(refusalOf(Descriptor().withText("nxtMSVersion", version), node), "");
    EXPECT_EQ(refusalOf(Descriptor().withText("nxtMSVersion", version + "9"), node),
              "keyTooLong nxtMSVersion");
}

TEST(Offers, TakeAVersionUpToTheNodesLimit) {
    NodeIdentity node = thisNode();
    for (const std::size_t longest : {3U, 25U, 30U}) {
        node.longestVersion = longest;
        const std::string version = "4QZ" + std::string(longest - 3, '9');
        EXPECT_EQ(refusalOf(Descriptor().withText("nxtMSVersion", version), node), "") << version;
        EXPECT_EQ(refusalOf(Descriptor().withText("nxtMSVersion", version + "9"), node),
                  "versionTooLong nxtMSVersion");
    }
}

TEST(Offers, MayUseEveryAllowedCharacterInAVersion) {
    for (int byte = 1; byte < 256; ++byte) {
        const char character = static_cast<char>(byte);
        const bool allowed =
            byte < 128 &&
            (std::isalnum(byte) != 0 || std::string("._+-").find(character) != std::string::npos);
        const std::string text =
            Descriptor().withText("nxtMSVersion", "4QZ" + std::string(1, character)).text();
        EXPECT_EQ(refusalOf(text), allowed      ? ""
                                   : byte > 127 ? "descriptorNotOneObject descriptor"
                                                : "versionMalformed nxtMSVersion")
            << byte;
    }
}

TEST(Offers, TakeAModelUpToItsWidth) {
    NodeIdentity node = thisNode();
    node.model = std::string(31, 'm');
    EXPECT_EQ(refusalOf(Descriptor().withText("model", node.model), node), "");
    node.model += "m";
    EXPECT_EQ(refusalOf(Descriptor().withText("model", node.model), node), "keyTooLong model");
}

TEST(Offers, CountWidthsInBytesAfterTheEscapes) {
    EXPECT_EQ(refusalOf(Descriptor().with("model", "\"" + std::string(31, 'm') + "\"")),
              "wrongModel model");
    std::string escaped;
    for (int i = 0; i < 16; ++i) {
        escaped += "\\u00e9"; // two bytes
    }
    EXPECT_EQ(refusalOf(Descriptor().with("model", "\"" + escaped + "\"")), "keyTooLong model");
}

TEST(Offers, TakeEveryPolicyFromZeroToThree) {
    for (int policy = -1; policy <= 4; ++policy) {
        const Descriptor descriptor = Descriptor().with("policy", std::to_string(policy));
        if (policy < 0 || policy > 3) {
            EXPECT_EQ(refusalOf(descriptor), "policyOutOfRange policy");
        } else {
            EXPECT_EQ(accepted(descriptor.text()).policy, policy);
        }
    }
}

TEST(Offers, MaySpellTheirPolicyAsAnyWholeNumber) {
    for (const auto &[json, policy] : {std::pair("2.0", 2),
                                       {"1e0", 1},
                                       {"1E0", 1},
                                       {"1e+0", 1},
                                       {"10e-1", 1},
                                       {"-0.0", 0},
                                       {"0.3e1", 3},
                                       {"-0", 0}}) {
        const Offer offer = accepted(Descriptor().with("policy", json).text());
        EXPECT_EQ(offer.policy, policy) << json;
        EXPECT_NE(offer.descriptor.find("\"policy\":" + std::to_string(policy) + "}"),
                  std::string::npos)
            << offer.descriptor;
    }
}

TEST(Offers, StayAtOrAboveTheLowestVersion) {
    const auto withFloor = [](const char *floor) {
        return refusalOf(Descriptor(), thisNode(), {false, floor});
    };
    for (const char *floor : {"", "4QZ", "4QZ2", "4QZ2.0.99", "4QZ2.1", "4QZ2.1.0", "4QZ2.01.0"}) {
        EXPECT_EQ(withFloor(floor), "") << floor;
    }
    for (const char *floor : {"4QZ2.1.1", "4QZ2.1.0.1", "4QZ2.10", "4QZ3", "4QZ10", "4QZa"}) {
        EXPECT_EQ(withFloor(floor), "versionBelowFloor nxtMSVersion") << floor;
    }
}

TEST(Offers, OfAVersionThatFailedItsTrialAreRefusedWithTheReason) {
    Rules rules;
    rules.refusedVersions = {{"4QZ2.1", "was another one"},
                             {"4QZ2.1.0", "failed its trial: health"}};
    Offer offer;
    const auto refusal = checkOffer(Descriptor().text(), thisNode(), rules, offer);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->outcome, Outcome::versionFailedTrial);
    EXPECT_EQ(refusal->text(), "nxtMSVersion: \"4QZ2.1.0\" failed its trial: health");
    rules.refusedVersions = {{"4QZ2.1.0.0", ""}, {"4QZ2.1", ""}, {"4QZ2.01.0", ""}};
    EXPECT_EQ(refusalOf(Descriptor(), thisNode(), rules), "");
}

// Every value is wrong; each step repairs the mistake that was told.
TEST(Offers, ToldOfSeveralMistakesNameThemInOrder) {
    const Rules rules{false, "4QZ2"};
    Descriptor offer = Descriptor()
                           .withText("nxtMSVersion", "$(reboot)")
                           .withText("model", "x")
                           .withText("mac", "x")
                           .withText("checksum", "x")
                           .withText("fileServerURL", "HTTP://https/ x")
                           .with("policy", "9");
    const struct {
        const char *told;
        const char *key;
        const char *json;
    } steps[] = {
        {"versionMalformed nxtMSVersion", "nxtMSVersion", "\"1234567890123456789012345678901\""},
        {"versionWrongPrefix nxtMSVersion", "nxtMSVersion", "\"4QZ1567890123456789012345678901\""},
        {"versionTooLong nxtMSVersion", "nxtMSVersion", "\"4QZ1\""},
        {"versionBelowFloor nxtMSVersion", "nxtMSVersion", "\"4QZ2\""},
        {"wrongModel model", "model", "\"GW-1000\""},
        {"wrongMac mac", "mac", "\"02:00:5E:10:00:01\""},
        {"checksumMalformed checksum", "checksum", "\"0123456789abcdef0123456789abcdef\""},
        {"urlAmbiguous fileServerURL", "fileServerURL", "\"http://https/ x\""},
        {"urlNotHttp fileServerURL", "fileServerURL", "\"http://https/x\""},
        {"urlAmbiguous fileServerURL", "fileServerURL", "\"http://h/x\""},
        {"plainHttpForbidden fileServerURL", "fileServerURL", "\"https://h/x\""},
        {"policyOutOfRange policy", "policy", "3"},
    };
    for (const auto &step : steps) {
        EXPECT_EQ(refusalOf(offer, thisNode(), rules), step.told);
        offer = offer.with(step.key, step.json);
    }
    EXPECT_EQ(refusalOf(offer, thisNode(), rules), "");
}

// Size before encoding before form before keys before values, and keys in the record's order.
TEST(Offers, AreJudgedFromTheOutsideIn) {
    const std::string bad = Descriptor().with("policy", "\"x\"").withText("model", "x").text();
    EXPECT_EQ(refusalOf(bad), "keyMistyped policy");
    EXPECT_EQ(refusalOf(bad + "}"), "descriptorNotOneObject descriptor");
    EXPECT_EQ(refusalOf(bad + "}" + std::string(70000, '\xFF')), "descriptorTooLarge descriptor");
    Descriptor keys = Descriptor().adding("\"mac\"", "1").without("checksum").with("model", "1");
    EXPECT_EQ(refusalOf(keys), "keyMistyped model");
    keys = keys.with("model", "\"x\"");
    EXPECT_EQ(refusalOf(keys), "keyMissing checksum");
    EXPECT_EQ(refusalOf(keys.adding("\"checksum\"", "\"\"")), "keyRepeated mac");
}

TEST(OfferFlags, TakeAnOffloadThatAByteHoldsAndEveryOtherNumber) {
    for (const int offload : {0, 1, 255}) {
        EXPECT_FALSE(checkFlags({offload, -2147483647, 2147483647}));
    }
    for (const int offload : {-1, 256, 2147483647}) {
        const auto refusal = checkFlags({offload, 0, 0});
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->outcome, Outcome::flagOutOfRange);
        EXPECT_EQ(refusal->text(), "OffloadDownloadActivate: " + std::to_string(offload) +
                                       " is not a number from 0 to 255");
    }
}

} // namespace
