// SPDX-License-Identifier: MIT
// The lock on the door: which new-image descriptors may reach the agent.
#ifndef GUARD_OFFER_H
#define GUARD_OFFER_H

#include "guard/node_identity.h"
#include "guard/refusal.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace guard {

struct RefusedVersion {
    std::string version;
    std::string why; // what follows the version in a sentence
};

struct Rules {
    bool allowPlainHttp = false;
    std::string lowestVersion; // empty: no floor
    std::vector<RefusedVersion> refusedVersions{};
};

struct Offer {
    std::string descriptor; // canonical JSON: exactly the six keys, in the record's order
    std::string model;
    std::string version;
    std::string url; // ' and $ percent-encoded
    std::string checksum;
    std::string mac;
    int policy = 0; // 0 to 3
};

/*
 * Checks a descriptor of any bytes and size. Nothing: the offer is filled, and the agent reads out
 * of offer.descriptor what was checked, nothing else. A refusal: the offer is untouched. Touches
 * nothing outside and keeps nothing; takes at most milliseconds.
 */
std::optional<Refusal> checkOffer(std::string_view text, const NodeIdentity &node,
                                  const Rules &rules, Offer &offer);

/* What an extender hands over for its gateway to download. */
struct HandOver {
    std::string url;
    std::string activationTime; // empty: at once
    std::string checksum;
    std::string version;
};

/* The rules of an offer as far as they hold for another node's image. */
std::optional<Refusal> checkHandOver(const HandOver &image, bool allowPlainHttp);

/* The three values that come with an offer, as wide as a caller can send them. */
struct OfferFlags {
    int offload = 0;           // 0 to 255; not 0: hand the image over to the gateway
    int initialOnboarding = 0; // any number
    int firstPolling = 0;      // any number
};

std::optional<Refusal> checkFlags(const OfferFlags &flags);

} // namespace guard

#endif
