// SPDX-License-Identifier: MIT
// The check of what extenders send: shape, widths, and that they speak for themselves.
#include "service/uplink/root_envelope.h"

#include "base/json.h"
#include "guard/canonical.h"
#include "guard/mac.h"
#include "guard/offer.h"
#include "guard/strict_json.h"
#include "otaSwAgent/records.h"
#include "otaSwAgent/status_words.h"
#include "platform/evbus.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

namespace service {
namespace {

using guard::quoted;
using guard::Refusal;
using guard::StrictObject;

constexpr const char *kEnvelopeType = "swmgnt_info";
constexpr const char *kEnvelopeVersion = "1.0.0";
constexpr int kEnvelopeSequence = 1;

constexpr std::array kStatusWords{
    OTA_STATUS_NO_UPGRADE,          OTA_STATUS_SWAP_PASSIVE,
    OTA_STATUS_RECONNECT,           OTA_STATUS_ACTIVATION_REBOOT_COMPLETE,
    OTA_STATUS_CRC_CHECK_FAILED,    OTA_STATUS_FLASH_WRITE_FAILED,
    OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_ACTIVATION_FAILED,
    OTA_STATUS_COMMIT_COMPLETE,     OTA_STATUS_COMMIT_FAILED,
};

struct TextField {
    const char *key;
    std::size_t width;
    bool mayBeEmpty;
};

#define OTAD_TEXT_FIELD(Record, key, mayBeEmpty)                                                   \
    TextField { #key, sizeof(Record::key), mayBeEmpty }

constexpr std::array kReportFields{
    OTAD_TEXT_FIELD(UpgradeStatus, model, true),
    OTAD_TEXT_FIELD(UpgradeStatus, curswversion, true),
    OTAD_TEXT_FIELD(UpgradeStatus, prevswversion, true),
    OTAD_TEXT_FIELD(UpgradeStatus, mac, false),
    OTAD_TEXT_FIELD(UpgradeStatus, sn, true),
    OTAD_TEXT_FIELD(UpgradeStatus, status, false),
};

#undef OTAD_TEXT_FIELD

constexpr std::array kFileServerFields{
    TextField{"fileServerURL", OTA_URL_WIDTH, false},
    TextField{"activationTime", OTA_TIME_TEXT_WIDTH, true}, // empty: at once
    TextField{"checksum", OTA_CHECKSUM_WIDTH, false},
    TextField{"swVersion", OTA_VERSION_WIDTH, false},
};

char upper(char letter) {
    return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
}

std::string inUpperCase(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), upper);
    return result;
}

std::optional<Refusal> refusal(base::Outcome outcome, const char *field, std::string reason) {
    return Refusal{outcome, field, std::move(reason)};
}

// These keys, each once, and no other.
std::optional<Refusal> checkKeys(const cJSON *object, const char *what,
                                 const std::vector<std::string_view> &keys) {
    for (const cJSON *const item : base::membersOf(object)) {
        if (std::find(keys.begin(), keys.end(), item->string) == keys.end()) {
            return refusal(base::Outcome::keyMistyped, what,
                           "no key " + quoted(item->string) + " belongs here");
        }
    }
    return std::nullopt;
}

// For a terminal: a text of the mesh must not move its cursor.
bool isPrintable(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::optional<Refusal> takeText(const StrictObject &object, const TextField &field,
                                std::string &value) {
    if (auto wrong = object.takeText(field.key, field.width, value)) {
        return wrong;
    }
    if (!isPrintable(value)) {
        return refusal(base::Outcome::keyMistyped, field.key,
                       quoted(value) + " has other characters than printable ASCII");
    }
    if (value.empty() && !field.mayBeEmpty) {
        return refusal(base::Outcome::keyMistyped, field.key, "is empty");
    }
    return std::nullopt;
}

std::optional<Refusal> expectText(const StrictObject &object, const TextField &field,
                                  std::string_view expected) {
    std::string value;
    if (auto wrong = takeText(object, field, value)) {
        return wrong;
    }
    if (value != expected) {
        return refusal(base::Outcome::keyMistyped, field.key,
                       quoted(value) + ", expected " + quoted(expected));
    }
    return std::nullopt;
}

template <std::size_t count>
std::optional<Refusal> readFields(std::string_view text, const char *what,
                                  const std::array<TextField, count> &fields,
                                  std::array<std::string, count> &values) {
    StrictObject object;
    if (auto wrong = object.read(text, what)) {
        return wrong;
    }
    std::vector<std::string_view> keys;
    for (std::size_t i = 0; i < count; ++i) {
        if (auto wrong = takeText(object, fields[i], values[i])) {
            return wrong;
        }
        keys.emplace_back(fields[i].key);
    }
    // The text has passed the strict reading: both see the same members.
    return checkKeys(base::parsed(text).get(), what, keys);
}

// Under the topic of one node only that node's own records are taken.
std::optional<Refusal> checkReport(std::string_view mac, std::string_view text) {
    std::array<std::string, kReportFields.size()> values;
    if (auto wrong = readFields(text, "signaldata", kReportFields, values)) {
        return wrong;
    }
    const auto valueOf = [&values](std::string_view key) -> const std::string & {
        std::size_t i = 0;
        while (kReportFields[i].key != key) {
            ++i;
        }
        return values[i];
    };
    if (!guard::sameMac(valueOf("mac"), mac)) {
        return refusal(base::Outcome::wrongMac, "mac",
                       quoted(valueOf("mac")) + " reports under the topic of " + quoted(mac));
    }
    const std::string &word = valueOf("status");
    if (std::find(kStatusWords.begin(), kStatusWords.end(), word) == kStatusWords.end()) {
        return refusal(base::Outcome::keyMistyped, "status",
                       quoted(word) + " is not one of the agent's status words");
    }
    return std::nullopt;
}

std::optional<Refusal> checkHead(const StrictObject &envelope, std::string_view mac) {
    if (auto wrong = expectText(envelope, {"type", sizeof(SwmgntBroadcastInfo::type), false},
                                kEnvelopeType)) {
        return wrong;
    }
    int sequence = 0;
    if (auto wrong = envelope.takeWholeNumber("sequence", sequence)) {
        return wrong;
    }
    if (sequence != kEnvelopeSequence) {
        return refusal(base::Outcome::keyMistyped, "sequence",
                       std::to_string(sequence) + ", expected 1");
    }
    std::string own; // the agent leaves it empty
    if (auto wrong = takeText(envelope, {"mac", sizeof(SwmgntBroadcastInfo::mac), true}, own)) {
        return wrong;
    }
    if (!own.empty() && !guard::sameMac(own, mac)) {
        return refusal(base::Outcome::wrongMac, "mac",
                       quoted(own) + " sends under the topic of " + quoted(mac));
    }
    return expectText(envelope, {"version", sizeof(SwmgntBroadcastInfo::version), false},
                      kEnvelopeVersion);
}

std::optional<Refusal> takeSignalData(const cJSON *data, std::string &signalData) {
    if (!base::isObject(data)) {
        return refusal(base::Outcome::keyMistyped, "data", "is missing or not an object");
    }
    StrictObject object;
    if (auto wrong = object.read(base::printed(data), "data")) {
        return wrong;
    }
    if (auto wrong =
            expectText(object, {"signalname", sizeof(SwmgntBroadcastInfo::signalname), false},
                       EVBUS_STATUS_SIGNAL)) {
        return wrong;
    }
    // Its line ends are the printer's, so it is not held to printable characters here.
    if (auto wrong =
            object.takeText("signaldata", sizeof(SwmgntBroadcastInfo::signaldata), signalData)) {
        return wrong;
    }
    return checkKeys(data, "data", {"signalname", "signaldata"});
}

std::optional<Refusal> openEnvelope(std::string_view mac, std::string_view text,
                                    std::string &signalData) {
    StrictObject envelope;
    if (auto wrong = envelope.read(text, "envelope")) {
        return wrong;
    }
    if (auto wrong = checkHead(envelope, mac)) {
        return wrong;
    }
    const base::Json members = base::parsed(text);
    const std::vector<std::string_view> keys{"type", "sequence", "mac", "version", "data"};
    if (auto wrong = checkKeys(members.get(), "envelope", keys)) {
        return wrong;
    }
    // The other keys stand there once, as checkHead found.
    if (base::membersOf(members.get()).size() > keys.size()) {
        return refusal(base::Outcome::keyRepeated, "data", "stands there more than once");
    }
    return takeSignalData(base::itemOf(members.get(), "data"), signalData);
}

// Fills what both kinds have in common. False: the topic names no node.
bool begin(FromExtender::Kind kind, std::string_view mac, FromExtender &taken) {
    taken = FromExtender{};
    taken.kind = kind;
    if (!guard::isMac(mac)) {
        taken.refusal =
            Refusal{base::Outcome::wrongMac, "topic", quoted(mac) + " is not a MAC address"}.text();
        return false;
    }
    taken.mac = inUpperCase(mac);
    return true;
}

bool finish(const std::optional<Refusal> &wrong, std::string_view text, FromExtender &taken) {
    if (wrong) {
        taken.refusal = wrong->text();
        return false;
    }
    taken.text = text;
    return true;
}

} // namespace

std::string Unchecked::mac() const {
    return guard::isMac(sender) ? inUpperCase(sender) : std::string();
}

FromExtender Unchecked::check(bool allowPlainHttp) const {
    FromExtender taken;
    if (retained) {
        taken.kind = kind;
        taken.mac = mac();
        taken.refusal = "topic: a retained message is old news and not taken";
    } else if (kind == FromExtender::Kind::report) {
        checkEnvelope(sender, text, taken);
    } else {
        checkFileServerInfo(sender, text, allowPlainHttp, taken);
    }
    return taken;
}

bool checkEnvelope(std::string_view mac, std::string_view text, FromExtender &taken) {
    if (!begin(FromExtender::Kind::report, mac, taken)) {
        return false;
    }
    std::string signalData;
    auto wrong = openEnvelope(taken.mac, text, signalData);
    if (!wrong) {
        wrong = checkReport(taken.mac, signalData);
    }
    return finish(wrong, signalData, taken);
}

bool checkFileServerInfo(std::string_view mac, std::string_view text, bool allowPlainHttp,
                         FromExtender &taken) {
    if (!begin(FromExtender::Kind::fileServer, mac, taken)) {
        return false;
    }
    std::array<std::string, kFileServerFields.size()> values;
    auto wrong = readFields(text, "file-server information", kFileServerFields, values);
    if (!wrong) {
        const auto &[url, activationTime, checksum, version] = values;
        wrong = guard::checkHandOver({url, activationTime, checksum, version}, allowPlainHttp);
    }
    // Written anew: nothing that was not looked at goes on.
    guard::CanonicalObject checked;
    for (std::size_t i = 0; i < values.size(); ++i) {
        checked.add(kFileServerFields[i].key, values[i]);
    }
    return finish(wrong, checked.text(), taken);
}

} // namespace service
