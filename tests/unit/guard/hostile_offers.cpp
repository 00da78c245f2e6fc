// SPDX-License-Identifier: MIT
// Descriptors that must not reach the agent, each with what the guard has to say.
#include "hostile_offers.h"

#include "descriptor.h"

#include <map>

using namespace std::string_literals;

namespace guard::test {
namespace {

using Offers = std::vector<HostileOffer>;

constexpr std::size_t kMiB = 1024UL * 1024;

// What a text of allowed length is refused for, by key.
const std::map<std::string, base::Outcome> &refusalsByKey() {
    static const std::map<std::string, base::Outcome> refusals = {
        {"model", base::Outcome::wrongModel},
        {"nxtMSVersion", base::Outcome::versionMalformed},
        {"fileServerURL", base::Outcome::urlNotHttp},
        {"checksum", base::Outcome::checksumMalformed},
        {"mac", base::Outcome::wrongMac},
    };
    return refusals;
}

// A URL may hold these: they are no trap where no shell is.
bool mayStandInUrl(const std::string &text) {
    return text.find_first_of("\"`\\ \t\n\r\x1b\x7f\x01") == std::string::npos &&
           text.find_first_not_of(
               "!#$%&'()*+,-./0123456789:;<=>?@[]^_abcdefghijklmnopqrstuvwxyz{|}~"
               "ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
}

void addText(Offers &offers, const std::string &key, const std::string &text) {
    const bool fits = text.size() <= limitOf(key);
    const bool isUser =
        key == "fileServerURL" && !text.starts_with("http") && text.find('@') != std::string::npos;
    offers.push_back({key + " = " + text, Descriptor().withText(key, text).text(),
                      !fits    ? base::Outcome::keyTooLong
                      : isUser ? base::Outcome::urlHoldsSecret
                               : refusalsByKey().at(key),
                      key});
}

// Alone, before, behind and inside of the good value.
void addHostileTexts(Offers &offers) {
    for (const std::string key : kTextKeys) {
        const std::string good = Descriptor::goodText(key);
        const std::size_t middle = good.size() - 3;
        for (const std::string &text : hostileTexts()) {
            addText(offers, key, text);
            if (text.empty()) {
                continue;
            }
            addText(offers, key, text + good);
            if (key != "fileServerURL" || !mayStandInUrl(text)) {
                addText(offers, key, good + text);
                addText(offers, key, good.substr(0, middle) + text + good.substr(middle));
            }
        }
    }
}

void addLongTexts(Offers &offers) {
    for (const std::string key : kTextKeys) {
        const std::string good = Descriptor::goodText(key);
        const std::string filled = good + std::string(limitOf(key) + 1 - good.size(), 'a');
        addText(offers, key, filled);
        addText(offers, key, std::string(60000, 'A'));
        for (const char byte : {'A', '$', '"', '\\', '\n', '\xFF', '\0', '[', '{'}) {
            offers.push_back({key + " of 1 MiB of "s + byte,
                              Descriptor().with(key, "\"" + std::string(kMiB, byte) + "\"").text(),
                              base::Outcome::descriptorTooLarge, "descriptor"});
        }
    }
}

void addNoObject(Offers &offers, const std::string &what, const std::string &text) {
    offers.push_back({what, text, base::Outcome::descriptorNotOneObject, "descriptor"});
}

// Raw bytes inside the quotes of each value, and inside of a key.
void addBytes(Offers &offers) {
    std::vector<std::string> bytes = badUtf8();
    for (char control = 0; control < ' '; ++control) {
        bytes.emplace_back(1, control);
    }
    for (const char *escape : {"\\u0000", "\\u000", "\\uD800", "\\uDC00", "\\uD800\\u0041",
                               "\\uD800x", "\\x41", "\\a", "\\'", "\\u00G0", "\\U0041"}) {
        bytes.emplace_back(escape);
    }
    for (const std::string &piece : bytes) {
        for (const std::string key : kTextKeys) {
            const std::string good = Descriptor::goodText(key);
            addNoObject(offers, "bytes in " + key,
                        Descriptor().with(key, "\"" + good + piece + "\"").text());
        }
        addNoObject(offers, "bytes in a key",
                    Descriptor().adding("\"x" + piece + "\"", "1").text());
    }
}

std::string openObjects() {
    std::string text;
    while (text.size() < 60000) {
        text += "{\"a\":";
    }
    return text;
}

void addNesting(Offers &offers) {
    for (const std::string key : kKeys) {
        for (const std::size_t depth : {1U, 7U, 8U, 100U, 30000U}) {
            const std::string nest = std::string(depth, '[') + std::string(depth, ']');
            const bool allowed = depth < 8;
            offers.push_back(
                {key + " nested", Descriptor().with(key, nest).text(),
                 allowed ? base::Outcome::keyMistyped : base::Outcome::descriptorNotOneObject,
                 allowed ? key : "descriptor"});
            addNoObject(offers, key + " never closed",
                        Descriptor().with(key, std::string(depth, '[')).text());
        }
        addNoObject(offers, key + " of objects", Descriptor().with(key, openObjects()).text());
    }
    addNoObject(offers, "an unknown key nested",
                Descriptor().adding("\"x\"", "[[[[[[[[]]]]]]]]").text());
    addNoObject(offers, "nothing but [", std::string(65536, '['));
    addNoObject(offers, "nothing but {\"a\":", openObjects());
}

// The first letter of the key as JSON may spell it too.
std::string escapedKey(const std::string &key) {
    constexpr std::string_view kHex = "0123456789abcdef";
    const auto first = static_cast<unsigned char>(key.front());
    return "\"\\u00"s + kHex[first >> 4U] + kHex[first & 0xFU] + key.substr(1) + "\"";
}

void addKeys(Offers &offers) {
    for (const std::string key : kKeys) {
        const auto add = [&](const std::string &what, const Descriptor &descriptor,
                             base::Outcome outcome) {
            offers.push_back({key + " " + what, descriptor.text(), outcome, key});
        };
        std::string shouted = key;
        shouted.front() = static_cast<char>(shouted.front() - 'a' + 'A');
        const Descriptor good;
        add("missing", good.without(key), base::Outcome::keyMissing);
        add("in another case", good.without(key).adding(jsonText(shouted), "\"x\""),
            base::Outcome::keyMissing);
        add("with a blank", good.without(key).adding(jsonText(key + " "), "\"x\""),
            base::Outcome::keyMissing);
        for (const char *value : {"\"x\"", "1", "null", "{}"}) {
            add("repeated", good.adding(jsonText(key), value), base::Outcome::keyRepeated);
            add("repeated by escapes", good.adding(escapedKey(key), value),
                base::Outcome::keyRepeated);
        }
        add("only by escapes, twice",
            good.without(key).adding(escapedKey(key), "\"x\"").adding(escapedKey(key), "\"x\""),
            base::Outcome::keyRepeated);
        for (const char *value : {"null", "true", "false", "[]", "{}", "[\"x\"]", "{\"x\":1}"}) {
            add("mistyped", good.with(key, value), base::Outcome::keyMistyped);
        }
        add("of the other type", good.with(key, key == "policy" ? "\"1\"" : "1"),
            base::Outcome::keyMistyped);
    }
}

void addPolicies(Offers &offers) {
    const auto add = [&](const std::string &json, base::Outcome outcome) {
        const bool isObject = outcome != base::Outcome::descriptorNotOneObject;
        offers.push_back({"policy = " + json, Descriptor().with("policy", json).text(), outcome,
                          isObject ? "policy" : "descriptor"});
    };
    for (const char *json : {"-1", "4", "255", "4294967297", "-4294967295", "9223372036854775808",
                             "99999999999999999999999999", "1e400", "-1e400", "4.0", "1e1"}) {
        add(json, base::Outcome::policyOutOfRange);
    }
    for (const char *json : {"1.5", "1e-1", "2.000001", "-0.5"}) {
        add(json, base::Outcome::keyMistyped);
    }
    for (const char *json : {"01", "+1", "0x1", ".5", "1.", "-", "--1", "NaN", "Infinity", "1e",
                             "1e+", "1 2", "1a", "True", "nul", ""}) {
        add(json, base::Outcome::descriptorNotOneObject);
    }
    add(std::string(1000, '9'), base::Outcome::policyOutOfRange);
}

void addFrames(Offers &offers) {
    const std::string good = Descriptor().text();
    for (std::size_t length = 0; length < good.size(); ++length) {
        addNoObject(offers, "cut at " + std::to_string(length), good.substr(0, length));
    }
    for (const std::string &behind :
         {"x"s, "}"s, "{}"s, ","s, "\0"s, "\0{}"s, "\v"s, "\f"s, "\xEF\xBB\xBF"s, ";reboot"s, good,
          "/**/"s, "#"s, "//"s, "\xC2\xA0"s}) {
        addNoObject(offers, "followed by " + behind, good + behind);
        addNoObject(offers, "preceded by " + behind, behind + good);
    }
    for (const std::string &text : {""s,
                                    " "s,
                                    "null"s,
                                    "1"s,
                                    "\"text\""s,
                                    "[]"s,
                                    "[" + good + "]",
                                    jsonText(good),
                                    "{,}"s,
                                    "{\"a\"}"s,
                                    "{\"a\":}"s,
                                    "{\"a\":1,}"s,
                                    "{a:1}"s,
                                    "{'a':1}"s,
                                    "{1:1}"s,
                                    "{\"a\" 1}"s,
                                    "{\"a\":[1,]}"s,
                                    "{\"a\":[,]}"s,
                                    "{\"a\":1 \"b\":2}"s,
                                    "{\"a\":\x01"
                                    "1}"s}) {
        addNoObject(offers, text, text);
    }
    offers.push_back({"64 KiB and one blank", good + std::string(65537 - good.size(), ' '),
                      base::Outcome::descriptorTooLarge, "descriptor"});
    offers.push_back({"1 MiB of blanks", std::string(kMiB, ' '), base::Outcome::descriptorTooLarge,
                      "descriptor"});
}

void addUrls(Offers &offers) {
    const auto add = [&](const std::string &url, base::Outcome outcome) {
        offers.push_back({"URL " + url, Descriptor().withText("fileServerURL", url).text(), outcome,
                          "fileServerURL"});
    };
    for (const char *url : {"ftp://h/i",      "file:///etc/passwd",
                            "//h/i",          "h/i",
                            "https:/h/i",     "https:h",
                            "https//h",       "javascript:x",
                            "gopher://h/",    "data:,x",
                            " https://h/",    "https://",
                            "https:///i",     "https:////h/i",
                            "https://?q",     "https://#f",
                            "https://:443/i", "https://h:99999/i",
                            "https://h:x/i",  "https://[::1/i",
                            "https://[x]/i",  "httpss://h/",
                            "https",          "http",
                            "http:",          "view-source:https://h",
                            "https\t://h/"}) {
        add(url, base::Outcome::urlNotHttp);
    }
    for (const char *url :
         {"HTTPS://h/i", "Https://h/i", "httpS://h/i", "HTTP://h/i", "hTTp://h/i", "http://https/i",
          "http://h/https", "http://h/i?https", "http://h/i#https", "http://h/i.https.img",
          "http://h/?next=https://other/i"}) {
        add(url, base::Outcome::urlAmbiguous);
    }
    for (const char *url :
         {"https://user:word@h/i", "https://user@h/i", "https://:word@h/i", "https://@h/i",
          "https://user@/i", "https://a@b@h/i", "http://https@h/i", "http://u:https@h/i",
          "HTTPS://u:word@h/i", "ftp://u:word@h/i", "//u:word@h/i", "https:/u:word@h/i",
          "u:word@h/i", "https://u@h", "https://u@h?q", "https://u@h#f", "https://u:wo\"rd@h/i",
          "http://u:word@h/i"}) {
        add(url, base::Outcome::urlHoldsSecret);
    }
    for (const char *url : {"http://h/i", "http://127.0.0.1:80/i", "http://h/HTTPS"}) {
        add(url, base::Outcome::plainHttpForbidden);
    }
}

void addValues(Offers &offers) {
    const auto add = [&](const std::string &key, const std::string &text, base::Outcome outcome) {
        offers.push_back(
            {key + " = " + text, Descriptor().withText(key, text).text(), outcome, key});
    };
    for (const char *version : {"4Q", "4qz1.0", "Q4Z1.0", "1.0", "-rf", "--help", "..", ".",
                                "x4QZ1.0", "-4QZ", "+4QZ", "04QZ"}) {
        add("nxtMSVersion", version, base::Outcome::versionWrongPrefix);
    }
    for (const std::size_t length : {31U, 32U, 62U, 63U}) {
        add("nxtMSVersion", "4QZ" + std::string(length - 3, '1'), base::Outcome::versionTooLong);
    }
    add("nxtMSVersion", "4QZ" + std::string(61, '1'), base::Outcome::keyTooLong);
    for (const char *model : {"GW-1001", "gw-1000", "GW-100", "GW-10000", " GW-1000", "GW-1000 "}) {
        add("model", model, base::Outcome::wrongModel);
    }
    for (const char *mac : {"02:00:5E:10:00:02", "02-00-5E-10-00-01", "02005E100001",
                            "02:00:5E:10:00:0", "02:00:5E:10:00:", "2:0:5E:10:0:1",
                            "02:00:5E:10:00:0G", "::::::::::::::::", "FF:FF:FF:FF:FF:FF"}) {
        add("mac", mac, base::Outcome::wrongMac);
    }
    add("mac", "02:00:5E:10:00:011", base::Outcome::keyTooLong);
    for (const std::string &checksum :
         {"0123456789ABCDEF0123456789ABCDEF"s, "0123456789abcdef0123456789abcde"s,
          "0123456789abcdef0123456789abcdef0"s, "0123456789abcdef0123456789abcdeg"s,
          std::string(47, 'a'), "0x23456789abcdef0123456789abcdef"s}) {
        add("checksum", checksum, base::Outcome::checksumMalformed);
    }
    add("checksum", std::string(48, 'a'), base::Outcome::keyTooLong);
}

Offers makeOffers() {
    Offers offers;
    addHostileTexts(offers);
    addLongTexts(offers);
    addBytes(offers);
    addNesting(offers);
    addKeys(offers);
    addPolicies(offers);
    addFrames(offers);
    addUrls(offers);
    addValues(offers);
    return offers;
}

} // namespace

const std::vector<HostileOffer> &hostileOffers() {
    static const std::vector<HostileOffer> offers = makeOffers();
    return offers;
}

} // namespace guard::test
