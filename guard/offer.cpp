// SPDX-License-Identifier: MIT
#include "guard/offer.h"

#include "base/version_order.h"
#include "guard/canonical.h"
#include "guard/mac.h"
#include "guard/strict_json.h"
#include "guard/time_of_day.h"
#include "guard/url.h"
#include "guard/version.h"
#include "otaSwAgent/records.h"

#include <array>
#include <utility>

namespace guard {
namespace {

constexpr const char *kModel = "model";
constexpr const char *kVersion = "nxtMSVersion";
constexpr const char *kUrl = "fileServerURL";
constexpr const char *kChecksum = "checksum";
constexpr const char *kMac = "mac";
constexpr const char *kPolicy = "policy";

struct TextField {
    const char *key;
    std::size_t width;
    std::string Offer::*value;
};

// In the record's order; the policy follows.
constexpr std::array kTexts = {
    TextField{kModel, OTA_MODEL_WIDTH, &Offer::model},
    TextField{kVersion, OTA_VERSION_WIDTH, &Offer::version},
    TextField{kUrl, OTA_URL_WIDTH, &Offer::url},
    TextField{kChecksum, OTA_CHECKSUM_WIDTH, &Offer::checksum},
    TextField{kMac, OTA_MAC_WIDTH, &Offer::mac},
};

constexpr int kHighestPolicy = 3;
constexpr int kHighestOffload = 255;
constexpr std::size_t kChecksumDigits = 32;

std::optional<Refusal> readKeys(const StrictObject &object, Offer &offer) {
    for (const TextField &field : kTexts) {
        if (auto refusal = object.takeText(field.key, field.width, offer.*field.value)) {
            return refusal;
        }
    }
    return object.takeWholeNumber(kPolicy, offer.policy);
}

std::optional<Refusal> checkVersion(const char *key, const std::string &version,
                                    std::size_t longest, const Rules &rules) {
    if (!hasVersionCharacters(version)) {
        return Refusal{base::Outcome::versionMalformed, key,
                       quoted(version) + " is not 1 to 63 characters of A-Z a-z 0-9 . _ + -"};
    }
    if (!version.starts_with(kVersionPrefix)) {
        return Refusal{base::Outcome::versionWrongPrefix, key,
                       quoted(version) + " does not begin with " + std::string(kVersionPrefix)};
    }
    if (version.size() > longest) {
        return Refusal{base::Outcome::versionTooLong, key,
                       quoted(version) + " has " + std::to_string(version.size()) +
                           " characters, this node takes at most " + std::to_string(longest) +
                           (longest < base::kLongestVersion
                                ? "; a shorter path of the logs directory "
                                  "lets it take more"
                                : "; no node takes more")};
    }
    if (!rules.lowestVersion.empty() && compareVersions(version, rules.lowestVersion) < 0) {
        return Refusal{base::Outcome::versionBelowFloor, key,
                       quoted(version) + " is under the configured lowest version " +
                           rules.lowestVersion};
    }
    for (const RefusedVersion &refused : rules.refusedVersions) {
        if (version == refused.version) {
            return Refusal{base::Outcome::versionFailedTrial, key,
                           quoted(version) + " " + refused.why};
        }
    }
    return std::nullopt;
}

std::optional<Refusal> checkTarget(const Offer &offer, const NodeIdentity &node) {
    if (offer.model != node.model) {
        return Refusal{base::Outcome::wrongModel, kModel,
                       quoted(offer.model) + " is not this node's model " + quoted(node.model)};
    }
    return checkMac(kMac, offer.mac, node.mac);
}

std::optional<Refusal> checkChecksum(const std::string &checksum) {
    if (checksum.size() != kChecksumDigits ||
        checksum.find_first_not_of("0123456789abcdef") != std::string::npos) {
        return Refusal{base::Outcome::checksumMalformed, kChecksum,
                       quoted(checksum) + " is not 32 lower-case hexadecimal digits"};
    }
    return std::nullopt;
}

std::optional<Refusal> checkPolicy(int policy) {
    if (policy < 0 || policy > kHighestPolicy) {
        return Refusal{base::Outcome::policyOutOfRange, kPolicy, "is not 0, 1, 2 or 3"};
    }
    return std::nullopt;
}

std::optional<Refusal> checkValues(const Offer &offer, const NodeIdentity &node,
                                   const Rules &rules) {
    auto refusal = checkVersion(kVersion, offer.version, node.longestVersion, rules);
    if (!refusal) {
        refusal = checkTarget(offer, node);
    }
    if (!refusal) {
        refusal = checkChecksum(offer.checksum);
    }
    if (!refusal) {
        refusal = checkUrl(kUrl, offer.url, rules.allowPlainHttp);
    }
    if (!refusal) {
        refusal = checkPolicy(offer.policy);
    }
    return refusal;
}

} // namespace

std::optional<Refusal> checkOffer(std::string_view text, const NodeIdentity &node,
                                  const Rules &rules, Offer &offer) {
    StrictObject object;
    if (auto refusal = object.read(text, "descriptor")) {
        return refusal;
    }
    Offer checked;
    if (auto refusal = readKeys(object, checked)) {
        return refusal;
    }
    checked.url = withoutQuotesAndDollars(checked.url);
    if (checked.url.size() >= OTA_URL_WIDTH) {
        return Refusal{base::Outcome::keyTooLong, kUrl,
                       "has " + std::to_string(checked.url.size()) +
                           " bytes with its ' and $ percent-encoded, at most " +
                           std::to_string(OTA_URL_WIDTH - 1) + " are allowed"};
    }
    if (auto refusal = checkValues(checked, node, rules)) {
        return refusal;
    }
    CanonicalObject canonical;
    for (const TextField &field : kTexts) {
        canonical.add(field.key, checked.*field.value);
    }
    canonical.add(kPolicy, checked.policy);
    checked.descriptor = canonical.text();
    offer = std::move(checked);
    return std::nullopt;
}

std::optional<Refusal> checkHandOver(const HandOver &image, bool allowPlainHttp) {
    auto refusal = checkVersion("swVersion", image.version, longestVersion(""), {});
    if (!refusal) {
        refusal = checkChecksum(image.checksum);
    }
    if (!refusal) {
        refusal = checkUrl(kUrl, image.url, allowPlainHttp);
    }
    if (!refusal && !image.activationTime.empty() && !isTimeOfDay(image.activationTime)) {
        refusal =
            Refusal{base::Outcome::timeMalformed, "activationTime",
                    quoted(image.activationTime) + " is not hh, hh:mm or hh:mm:ss of 24 hours"};
    }
    return refusal;
}

std::optional<Refusal> checkFlags(const OfferFlags &flags) {
    if (flags.offload < 0 || flags.offload > kHighestOffload) {
        return Refusal{base::Outcome::flagOutOfRange, "OffloadDownloadActivate",
                       std::to_string(flags.offload) + " is not a number from 0 to 255"};
    }
    return std::nullopt;
}

} // namespace guard
