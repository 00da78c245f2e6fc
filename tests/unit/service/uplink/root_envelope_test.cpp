// SPDX-License-Identifier: MIT
// What extenders may say, and the texts that must not get past the check.
#include "service/uplink/root_envelope.h"

#include "base/json.h"
#include "otaSwAgent/status_words.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using service::checkEnvelope;
using service::checkFileServerInfo;
using service::FromExtender;

constexpr const char *kMac = "02:00:00:00:00:0A";

std::string quoted(const std::string &text) {
    const base::Json item(cJSON_CreateString(text.c_str()));
    return base::printed(item.get());
}

const std::string kRecord =
    R"({"model":"M","curswversion":"4QZ2","prevswversion":"","mac":"02:00:00:00:00:0A",)"
    R"("sn":"S","status":"OTA_SW_COMMIT_COMPLETE"})";

std::string dataOf(const std::string &record) {
    return R"({"signalname":"updateUpgradeStatus","signaldata":)" + quoted(record) + "}";
}

std::string envelopeWith(const std::string &data) {
    return R"({"type":"swmgnt_info","sequence":1,"mac":"","version":"1.0.0","data":)" + data + "}";
}

std::string envelopeOf(const std::string &record) { return envelopeWith(dataOf(record)); }

// The text with one part replaced; a test whose part is not there tests nothing.
std::string with(std::string text, const std::string &part, const std::string &other) {
    const std::size_t at = text.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return at == std::string::npos ? text : text.replace(at, part.size(), other);
}

struct Hostile {
    const char *what;
    std::string text;
    std::string reason; // part of the refusal
};

void expectRefused(bool (*check)(std::string_view, std::string_view, FromExtender &),
                   const Hostile &one) {
    FromExtender taken;
    taken.text = "of the message before";
    EXPECT_FALSE(check(kMac, one.text, taken)) << one.what;
    EXPECT_EQ(taken.text, "") << one.what;
    EXPECT_EQ(taken.mac, kMac) << one.what;
    EXPECT_NE(taken.refusal.find(one.reason), std::string::npos)
        << one.what << ": " << taken.refusal;
    EXPECT_LT(taken.refusal.size(), 300U) << one.what;
    for (const char c : taken.refusal) {
        EXPECT_TRUE(c >= ' ' && c <= '~') << one.what << ": " << taken.refusal;
    }
}

TEST(RootEnvelope, OfAnExtenderIsTakenAndItsRecordHandedOnAsItIs) {
    FromExtender taken;
    taken.refusal = "of the message before";
    ASSERT_TRUE(checkEnvelope(kMac, envelopeOf(kRecord), taken)) << taken.refusal;
    EXPECT_EQ(taken.kind, FromExtender::Kind::report);
    EXPECT_EQ(taken.mac, kMac);
    EXPECT_EQ(taken.text, kRecord);
    EXPECT_EQ(taken.refusal, "");
}

TEST(RootEnvelope, MayBePrintedOverSeveralLines) {
    const std::string lines = base::printedInLines(base::parsed(kRecord).get());
    const base::Json envelope = base::parsed(envelopeOf(lines));
    FromExtender taken;
    ASSERT_TRUE(checkEnvelope(kMac, base::printedInLines(envelope.get()), taken)) << taken.refusal;
    EXPECT_EQ(taken.text, lines);
}

TEST(RootEnvelope, TakesAddressesInEitherCaseAndNamesTheNodeInUpperCase) {
    FromExtender taken;
    const std::string lower = with(kRecord, kMac, "02:00:00:00:00:0a");
    ASSERT_TRUE(checkEnvelope("02:00:00:00:00:0a", envelopeOf(kRecord), taken)) << taken.refusal;
    EXPECT_EQ(taken.mac, kMac);
    ASSERT_TRUE(checkEnvelope(kMac, envelopeOf(lower), taken)) << taken.refusal;
    EXPECT_EQ(taken.mac, kMac);
}

TEST(RootEnvelope, MayNameItsSender) {
    FromExtender taken;
    const std::string named =
        with(envelopeOf(kRecord), R"("mac":"")", R"("mac":"02:00:00:00:00:0A")");
    EXPECT_TRUE(checkEnvelope(kMac, named, taken)) << taken.refusal;
}

TEST(RootEnvelope, TakesEveryStatusWordOfTheAgent) {
    for (const char *word :
         {OTA_STATUS_NO_UPGRADE, OTA_STATUS_SWAP_PASSIVE, OTA_STATUS_ACTIVATION_REBOOT_COMPLETE,
          OTA_STATUS_RECONNECT, OTA_STATUS_CRC_CHECK_FAILED, OTA_STATUS_FLASH_WRITE_FAILED,
          OTA_STATUS_ACTIVATION_COMPLETE, OTA_STATUS_ACTIVATION_FAILED, OTA_STATUS_COMMIT_COMPLETE,
          OTA_STATUS_COMMIT_FAILED}) {
        FromExtender taken;
        EXPECT_TRUE(
            checkEnvelope(kMac, envelopeOf(with(kRecord, OTA_STATUS_COMMIT_COMPLETE, word)), taken))
            << taken.refusal;
    }
}

TEST(RootEnvelope, TakesTextsUpToTheirWidthsAndNotOneByteMore) {
    const auto recordWithModel = [](std::size_t length) {
        return envelopeOf(with(kRecord, R"("M")", quoted(std::string(length, 'm'))));
    };
    FromExtender taken;
    EXPECT_TRUE(checkEnvelope(kMac, recordWithModel(31), taken)) << taken.refusal;
    EXPECT_FALSE(checkEnvelope(kMac, recordWithModel(32), taken));
    EXPECT_EQ(taken.refusal.find("model: "), 0U) << taken.refusal;
}

std::vector<Hostile> hostileEnvelopes() {
    const std::string good = envelopeOf(kRecord);
    const std::string nul(1, '\0');
    return {
        {"nothing", "", "envelope"},
        {"no JSON", "$(reboot)", "envelope"},
        {"an array", "[" + good + "]", "envelope"},
        {"two objects", good + good, "envelope"},
        {"something behind it", good + "x", "envelope"},
        {"a NUL behind it", good + nul, "envelope"},
        {"a NUL in it", with(good, "1.0.0", "1.0.0" + nul), "envelope"},
        {"a NUL as escape", with(good, "1.0.0", "1.0.0\\u0000"), "envelope"},
        {"bad UTF-8", with(good, "1.0.0", "1.0.0\xC0\xAF"), "envelope"},
        {"1 MiB", "{\"type\":\"" + std::string(1024UL * 1024UL, 'a') + "\"}", "1048587 bytes"},
        {"deep nesting", envelopeWith(std::string(1000, '[') + std::string(1000, ']')), "envelope"},
        {"another type", with(good, "swmgnt_info", "swmgnt_cmd"), "type: "},
        {"a type of another kind", with(good, R"("swmgnt_info")", "1"), "type: "},
        {"another version", with(good, "1.0.0", "1.0.1"), "version: "},
        {"another sequence", with(good, R"("sequence":1)", R"("sequence":2)"), "sequence: "},
        {"a sequence as text", with(good, R"("sequence":1)", R"("sequence":"1")"), "sequence: "},
        {"a broken sequence", with(good, R"("sequence":1)", R"("sequence":1.5)"), "sequence: "},
        {"no sequence", with(good, R"("sequence":1,)", ""), "sequence: "},
        {"no mac", with(good, R"("mac":"",)", ""), "mac: "},
        {"another sender", with(good, R"("mac":"")", R"("mac":"02:00:00:00:00:0B")"), "mac: "},
        {"a long sender", with(good, R"("mac":"")", R"("mac":")" + std::string(100, '0') + "\""),
         "mac: "},
        {"no data", with(good, R"("data")", R"("DATA")"), "envelope: "},
        {"data as text", envelopeWith(quoted(dataOf(kRecord))), "data: "},
        {"data twice", with(good, R"("data")", R"("data":{},"data")"), "data: "},
        {"data twice by escape", with(good, R"("data")", R"("d\u0061ta":{},"data")"), "data: "},
        {"the type twice", with(good, R"("type")", R"("type":"swmgnt_info","type")"), "type: "},
        {"a key too many", with(good, R"("sequence")", R"("x":1,"sequence")"), "envelope: "},
        {"a key of control characters", with(good, R"("sequence")", R"("\u001b[2J":1,"sequence")"),
         "\\x1B"},
        {"another signal", envelopeWith(with(dataOf(kRecord), "updateUpgradeStatus", "reboot")),
         "signalname: "},
        {"a signal too many",
         envelopeWith(with(dataOf(kRecord), R"({)", R"({"signalname":"updateUpgradeStatus",)")),
         "signalname: "},
        {"a key too many in data", envelopeWith(with(dataOf(kRecord), R"({)", R"({"x":1,)")),
         "data: "},
        {"no signaldata", envelopeWith(R"({"signalname":"updateUpgradeStatus"})"), "signaldata: "},
    };
}

TEST(RootEnvelope, OfAnotherShapeIsRefused) {
    for (const Hostile &one : hostileEnvelopes()) {
        expectRefused(checkEnvelope, one);
    }
}

TEST(RootEnvelope, WithAnotherRecordIsRefused) {
    const std::string longText(64, 'v');
    const std::string manySpaces(4200, ' ');
    const std::vector<Hostile> records{
        {"nothing", "", "signaldata: "},
        {"no JSON", "rm -rf /", "signaldata: "},
        {"cut JSON", kRecord.substr(0, kRecord.size() - 1), "signaldata: "},
        {"an array", "[]", "signaldata: "},
        {"two objects", kRecord + kRecord, "signaldata: "},
        {"too long", kRecord + manySpaces, "signaldata: "},
        {"a NUL as escape", with(kRecord, "4QZ2", "4QZ2\\u0000"), "signaldata: "},
        {"no status", with(kRecord, R"("status")", R"("stat")"), "status: "},
        {"the status twice", with(kRecord, R"("status")", R"("status":"","status")"), "status: "},
        {"an unknown word", with(kRecord, "COMMIT_COMPLETE", "COMMIT_DONE"), "status: "},
        {"a word in lower case", with(kRecord, "OTA_SW", "ota_sw"), "status: "},
        {"no word", with(kRecord, "OTA_SW_COMMIT_COMPLETE", ""), "status: "},
        {"a long word", with(kRecord, "OTA_SW_", longText), "status: "},
        {"another node", with(kRecord, kMac, "02:00:00:00:00:0B"), "mac: "},
        {"no node", with(kRecord, kMac, ""), "mac: "},
        {"a long version", with(kRecord, "4QZ2", longText), "curswversion: "},
        {"a version as number", with(kRecord, R"("4QZ2")", "4"), "curswversion: "},
        {"control characters", with(kRecord, "4QZ2", "\\u001b[2J"), "curswversion: "},
        {"other letters", with(kRecord, "4QZ2", "\xC3\xA4"), "curswversion: "},
        {"a key too many", with(kRecord, "{", R"({"url":"http://evil",)"), "signaldata: "},
    };
    for (const Hostile &one : records) {
        expectRefused(checkEnvelope, {one.what, envelopeOf(one.text), one.reason});
    }
}

TEST(RootEnvelope, UnderATopicWithoutAnAddressIsRefused) {
    for (const std::string mac : {"", "+", "02:00:00:00:00", "02-00-00-00-00-0A", "../../../../etc",
                                  "02:00:00:00:00:0G", "02:00:00:00:00:0A:"}) {
        FromExtender taken;
        EXPECT_FALSE(checkEnvelope(mac, envelopeOf(kRecord), taken)) << mac;
        EXPECT_EQ(taken.mac, "");
        EXPECT_EQ(taken.refusal.find("topic: "), 0U) << taken.refusal;
    }
}

const std::string kInfo = R"({"fileServerURL":"https://files.example/i","activationTime":"02:30",)"
                          R"("checksum":"0123456789abcdef0123456789abcdef","swVersion":"4QZ2"})";

TEST(RootFileServer, OfAnExtenderIsTaken) {
    FromExtender taken;
    ASSERT_TRUE(checkFileServerInfo("02:00:00:00:00:0a", kInfo, false, taken)) << taken.refusal;
    EXPECT_EQ(taken.kind, FromExtender::Kind::fileServer);
    EXPECT_EQ(taken.mac, kMac);
    EXPECT_EQ(taken.text, kInfo);
}

TEST(RootFileServer, MayComeWithoutATimeForAnUpgradeAtOnce) {
    FromExtender taken;
    EXPECT_TRUE(checkFileServerInfo(kMac, with(kInfo, "02:30", ""), false, taken)) << taken.refusal;
}

bool checkHttps(std::string_view mac, std::string_view text, FromExtender &taken) {
    return checkFileServerInfo(mac, text, false, taken);
}

TEST(RootFileServer, OfAnotherShapeIsRefused) {
    const std::string longUrl = "https://files.example/" + std::string(8192, 'i');
    const std::vector<Hostile> infos{
        {"nothing", "", "file-server information"},
        {"an envelope", envelopeOf(kRecord), "fileServerURL: "},
        {"two objects", kInfo + kInfo, "file-server information"},
        {"no URL", with(kInfo, "https://files.example/i", ""), "fileServerURL: "},
        {"a long URL", with(kInfo, "https://files.example/i", longUrl), "fileServerURL: "},
        {"a URL with a line end", with(kInfo, "/i", "/i\\n"), "fileServerURL: "},
        {"the URL twice", with(kInfo, "{", R"({"fileServerURL":"http://evil",)"), "fileServerURL"},
        {"no checksum", with(kInfo, R"("checksum")", R"("sum")"), "checksum: "},
        {"a long checksum", with(kInfo, "0123", std::string(48, '0')), "checksum: "},
        {"a number as version", with(kInfo, R"("4QZ2")", "4"), "swVersion: "},
        {"a long time", with(kInfo, "02:30", std::string(32, '0')), "activationTime: "},
        {"a key too many", with(kInfo, "{", R"({"x":[],)"), "file-server information: "},
        {"1 MiB", with(kInfo, "/i", "/" + std::string(1024UL * 1024UL, 'i')), "bytes"},
    };
    for (const Hostile &one : infos) {
        expectRefused(checkHttps, one);
    }
}

TEST(RootFileServer, ThatBreaksARuleOfAnOfferIsRefused) {
    const std::string url = "https://files.example/i";
    const std::vector<Hostile> infos{
        {"plain http", with(kInfo, url, "http://files.example/i"), "fileServerURL: "},
        {"a file", with(kInfo, url, "file:///etc/shadow"), "fileServerURL: "},
        {"no host", with(kInfo, url, "https:///i"), "fileServerURL: "},
        {"a scheme in capitals", with(kInfo, url, "HTTPS://files.example/i"), "fileServerURL: "},
        {"a shell's text", with(kInfo, url, url + "`reboot`"), "fileServerURL: "},
        {"another prefix", with(kInfo, "4QZ2", "2.0"), "swVersion: "},
        {"a path as version", with(kInfo, "4QZ2", "4QZ/../../etc"), "swVersion: "},
        {"a command as version", with(kInfo, "4QZ2", "4QZ$(reboot)"), "swVersion: "},
        {"31 characters", with(kInfo, "4QZ2", "4QZ" + std::string(28, '2')), "swVersion: "},
        {"a short checksum", with(kInfo, "0123456789abcdef0123", "0123"), "checksum: "},
        {"a checksum in capitals", with(kInfo, "abcdef", "ABCDEF"), "checksum: "},
        {"no time of day", with(kInfo, "02:30", "soon"), "activationTime: "},
        {"the 25th hour", with(kInfo, "02:30", "25:00"), "activationTime: "},
    };
    for (const Hostile &one : infos) {
        expectRefused(checkHttps, one);
    }
}

TEST(RootFileServer, MaySpeakPlainHttpWhereTheConfigurationAllowsIt) {
    FromExtender taken;
    const std::string plain = with(kInfo, "https://", "http://");
    EXPECT_TRUE(checkFileServerInfo(kMac, plain, true, taken)) << taken.refusal;
    EXPECT_EQ(taken.text, plain);
}

TEST(RootFileServer, GoesOnWithItsFourMembersAndNothingElse) {
    FromExtender taken;
    EXPECT_TRUE(checkFileServerInfo(kMac, std::string(60'000, ' ') + kInfo, false, taken));
    EXPECT_EQ(taken.text, kInfo);
}

} // namespace
