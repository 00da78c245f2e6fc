// SPDX-License-Identifier: MIT
#include "guard/activation_record.h"

#include "guard/canonical.h"
#include "guard/mac.h"
#include "guard/strict_json.h"
#include "guard/time_of_day.h"
#include "otaSwAgent/records.h"

namespace guard {
namespace {

struct Texts {
    std::string model;
    std::string mac;
    std::string serial;
    std::string time;
};

std::optional<Refusal> takeOptional(const StrictObject &object, const char *key, std::size_t width,
                                    std::string &value) {
    return object.has(key) ? object.takeText(key, width, value) : std::nullopt;
}

std::optional<Refusal> readKeys(const StrictObject &object, Texts &texts) {
    auto refusal = takeOptional(object, "model", OTA_MODEL_WIDTH, texts.model);
    if (!refusal) {
        refusal = takeOptional(object, "mac", OTA_MAC_WIDTH, texts.mac);
    }
    if (!refusal) {
        refusal = takeOptional(object, "sn", OTA_SERIAL_WIDTH, texts.serial);
    }
    if (!refusal) {
        refusal = object.takeText("actTime", OTA_TIME_TEXT_WIDTH, texts.time);
    }
    return refusal;
}

std::optional<Refusal> checkValues(const Texts &texts, const NodeIdentity &node) {
    if (!texts.model.empty() && texts.model != node.model) {
        return Refusal{base::Outcome::wrongModel, "model",
                       quoted(texts.model) + " is not this node's model " + quoted(node.model)};
    }
    if (!texts.mac.empty()) {
        if (auto refusal = checkMac("mac", texts.mac, node.mac)) {
            return refusal;
        }
    }
    if (!texts.serial.empty() && texts.serial != node.serial) {
        return Refusal{base::Outcome::wrongMac, "sn",
                       quoted(texts.serial) + " is not this node's serial number " +
                           quoted(node.serial)};
    }
    if (!texts.time.empty() && !isTimeOfDay(texts.time)) {
        return Refusal{base::Outcome::timeMalformed, "actTime",
                       quoted(texts.time) + " is not " + kTimeOfDay};
    }
    return std::nullopt;
}

} // namespace

std::optional<Refusal> checkActivationTime(std::string_view text, const NodeIdentity &node,
                                           ActivationRecord &activation) {
    StrictObject object;
    if (auto refusal = object.read(text, "record")) {
        return refusal;
    }
    Texts texts;
    if (auto refusal = readKeys(object, texts)) {
        return refusal;
    }
    if (auto refusal = checkValues(texts, node)) {
        return refusal;
    }
    // All four, since the agent would keep of an earlier record what this one lacks.
    CanonicalObject canonical;
    canonical.add("model", texts.model);
    canonical.add("mac", texts.mac);
    canonical.add("sn", texts.serial);
    canonical.add("actTime", texts.time);
    activation = {canonical.text(), texts.time};
    return std::nullopt;
}

} // namespace guard
