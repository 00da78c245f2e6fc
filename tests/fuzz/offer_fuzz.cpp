// SPDX-License-Identifier: MIT
// What must hold for every offer, activation time and setting that the guard is given.
#include "base/json.h"
#include "guard/activation_record.h"
#include "guard/offer.h"
#include "guard/setting.h"
#include "guard/time_of_day.h"
#include "guard/version.h"
#include "tests/fuzz/promise.h"

#include <array>

using namespace base;
using namespace guard;

using fuzz::consistsOf;
using fuzz::kVersionCharacters;
using fuzz::promise;

namespace {

constexpr std::size_t kLongestRefusal = 300;
constexpr const char *kFloor = "4QZ1.2";

const NodeIdentity &thisNode() {
    static const NodeIdentity node{"GW-1000", "SN0000000001", "02:00:5E:10:00:01", 30};
    return node;
}

void checkRefusal(const Refusal &refusal, std::string_view input) {
    const std::string line = refusal.text();
    promise(fuzz::isPrintableLine(line), "a refusal is one printable line", input);
    promise(line.size() <= kLongestRefusal, "a refusal is short", input);
    promise(!refusal.field.empty() && !refusal.reason.empty(), "a refusal says why", input);
    promise(*rowOf(refusal.outcome).busError != '\0', "a refusal has a bus error", input);
}

bool isPlainUrl(const std::string &url) {
    return std::all_of(url.begin(), url.end(), [](char byte) {
        return byte > ' ' && byte <= '~' &&
               std::string_view("\"'`$\\").find(byte) == std::string::npos;
    });
}

void checkValues(const Offer &offer, const Rules &rules, std::string_view input) {
    promise(offer.version.starts_with("4QZ") && offer.version.size() <= thisNode().longestVersion &&
                consistsOf(offer.version, kVersionCharacters),
            "an accepted version is safe in a shell", input);
    promise(compareVersions(offer.version, rules.lowestVersion) >= 0,
            "an accepted version is not under the floor", input);
    promise(offer.model == thisNode().model, "an accepted offer is for this model", input);
    std::string mac = offer.mac;
    std::transform(mac.begin(), mac.end(), mac.begin(), [](char byte) {
        return byte >= 'a' && byte <= 'f' ? static_cast<char>(byte - 'a' + 'A') : byte;
    });
    promise(mac == thisNode().mac, "an accepted offer is for this address", input);
    promise(offer.checksum.size() == 32 && consistsOf(offer.checksum, "0123456789abcdef"),
            "an accepted checksum is an MD5 sum", input);
    promise(offer.policy >= 0 && offer.policy <= 3, "an accepted policy is one of four", input);
    const bool isHttps = offer.url.starts_with("https://");
    promise(isHttps || (rules.allowPlainHttp && offer.url.starts_with("http://")),
            "an accepted URL is of an allowed kind", input);
    promise(isHttps == (offer.url.find("https") != std::string::npos),
            "an accepted URL is taken for what it is", input);
    promise(offer.url.size() < 8192 && isPlainUrl(offer.url), "an accepted URL is plain", input);
    const std::size_t host = offer.url.find("://") + 3;
    promise(offer.url.substr(host, offer.url.find_first_of("/?#", host) - host).find('@') ==
                std::string::npos,
            "an accepted URL names no user", input);
}

// As the agent reads it: by cJSON, key by key.
void checkCanonical(const Offer &offer, const Rules &rules, std::string_view input) {
    const Json object(cJSON_Parse(offer.descriptor.c_str()));
    promise(cJSON_GetArraySize(object.get()) == 6, "the canonical text has six keys", input);
    const auto holds = [&](const char *key, const std::string &value) {
        const char *text =
            cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object.get(), key));
        promise(text != nullptr && value == text, "the agent reads what was checked", input);
    };
    holds("model", offer.model);
    holds("nxtMSVersion", offer.version);
    holds("fileServerURL", offer.url);
    holds("checksum", offer.checksum);
    holds("mac", offer.mac);
    const cJSON *policy = cJSON_GetObjectItemCaseSensitive(object.get(), "policy");
    promise(cJSON_IsNumber(policy) && policy->valueint == offer.policy,
            "the agent reads the policy that was checked", input);
    Offer again;
    promise(!checkOffer(offer.descriptor, thisNode(), rules, again) &&
                again.descriptor == offer.descriptor,
            "the canonical text is accepted again, unchanged", input);
}

void tryOffer(std::string_view text, const Rules &rules) {
    Offer offer;
    offer.descriptor = "untouched";
    const auto refusal = checkOffer(text, thisNode(), rules, offer);
    if (refusal) {
        checkRefusal(*refusal, text);
        promise(offer.descriptor == "untouched", "a refusal leaves the offer alone", text);
        return;
    }
    promise(text.size() <= 65536 && text.find('\0') == std::string_view::npos,
            "an accepted text is small and has no NUL", text);
    checkValues(offer, rules, text);
    checkCanonical(offer, rules, text);
}

void tryActivationTime(std::string_view text) {
    ActivationRecord activation;
    if (const auto refusal = checkActivationTime(text, thisNode(), activation)) {
        checkRefusal(*refusal, text);
        promise(activation.record.empty(), "a refusal leaves the activation alone", text);
        return;
    }
    promise(activation.time.empty() ||
                (activation.time.size() <= 8 && consistsOf(activation.time, "0123456789:")),
            "an accepted time is a time of day", text);
    ActivationRecord again;
    promise(!checkActivationTime(activation.record, thisNode(), again) &&
                again.record == activation.record && again.time == activation.time,
            "the canonical record is accepted again, unchanged", text);
}

void trySettings(std::string_view text) {
    Setting setting{};
    for (const Setting each : {Setting::workMode, Setting::workRole, Setting::onboarding,
                               Setting::preferredActivationTime}) {
        if (const auto refusal = checkSetting(settingName(each), text, setting)) {
            checkRefusal(*refusal, text);
        } else {
            promise(setting == each && !text.empty() && text.size() <= 31 &&
                        text.find_first_of(" \t\r\n=;#[]\"\\") == std::string_view::npos,
                    "an accepted setting keeps to its line", text);
        }
    }
    if (const auto refusal = checkSetting(text, "1", setting)) {
        checkRefusal(*refusal, text);
    }
}

void tryVersions(std::string_view text) {
    const std::string_view a = text.substr(0, text.size() / 2);
    const std::string_view b = text.substr(text.size() / 2);
    promise(compareVersions(a, b) == -compareVersions(b, a), "the order has one direction", text);
    promise(compareVersions(text, text) == 0, "a version equals itself", text);
    promise(compareVersions(a, text) <= 0, "what begins alike and is longer is not smaller", text);
}

// The text as the value of each key in turn, so that the checks behind the form are reached.
void tryAsValue(std::string_view text) {
    constexpr std::array<std::array<const char *, 2>, 6> kFrames = {{
        {R"({"model":")",
         R"(","nxtMSVersion":"4QZ2","fileServerURL":"https://h","checksum":"0123456789abcdef0123456789abcdef","mac":"02:00:5e:10:00:01","policy":0})"},
        {R"({"model":"GW-1000","nxtMSVersion":")",
         R"(","fileServerURL":"https://h","checksum":"0123456789abcdef0123456789abcdef","mac":"02:00:5e:10:00:01","policy":0})"},
        {R"({"model":"GW-1000","nxtMSVersion":"4QZ2","fileServerURL":")",
         R"(","checksum":"0123456789abcdef0123456789abcdef","mac":"02:00:5e:10:00:01","policy":0})"},
        {R"({"model":"GW-1000","nxtMSVersion":"4QZ2","fileServerURL":"https://h","checksum":")",
         R"(","mac":"02:00:5e:10:00:01","policy":0})"},
        {R"({"model":"GW-1000","nxtMSVersion":"4QZ2","fileServerURL":"https://h","checksum":"0123456789abcdef0123456789abcdef","mac":")",
         R"(","policy":0})"},
        {R"({"model":"GW-1000","nxtMSVersion":"4QZ2","fileServerURL":"https://h","checksum":"0123456789abcdef0123456789abcdef","mac":"02:00:5e:10:00:01","policy":)",
         "}"},
    }};
    for (const auto &[before, behind] : kFrames) {
        tryOffer(before + std::string(text) + behind, {true, ""});
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    tryOffer(text, {true, ""});
    tryOffer(text, {false, kFloor});
    tryAsValue(text);
    tryActivationTime(text);
    trySettings(text);
    tryVersions(text);
    return 0;
}
