// SPDX-License-Identifier: MIT
// What must hold for every message of an extender before a gateway hears it.
#include "base/json.h"
#include "service/uplink/root_envelope.h"
#include "tests/fuzz/promise.h"

using fuzz::promise;
using service::FromExtender;

namespace {

constexpr const char *kMac = "02:00:00:00:00:0A";
constexpr std::size_t kLongestRefusal = 300;

void checkRefusal(const FromExtender &taken, std::string_view input) {
    promise(taken.text.empty(), "what is refused is not handed on", input);
    promise(!taken.refusal.empty() && fuzz::isPrintableLine(taken.refusal) &&
                taken.refusal.size() <= kLongestRefusal,
            "a refusal is one short printable line", input);
}

void tryReport(std::string_view mac, std::string_view text) {
    FromExtender taken;
    if (!checkEnvelope(mac, text, taken)) {
        return checkRefusal(taken, text);
    }
    promise(taken.refusal.empty() && taken.mac == kMac, "a report is its extender's", text);
    const base::Json record = base::parsed(taken.text);
    promise(base::isObject(record.get()) && base::membersOf(record.get()).size() == 6,
            "a report is a record of six keys", text);
    std::string given = base::textOf(record.get(), "mac");
    std::transform(given.begin(), given.end(), given.begin(), [](char byte) {
        return byte >= 'a' && byte <= 'f' ? static_cast<char>(byte - 'a' + 'A') : byte;
    });
    promise(given == kMac, "a report names the extender of its topic", text);
    const std::string status = base::textOf(record.get(), "status");
    promise(!status.empty() && status.size() < 50 && fuzz::isPrintableLine(status),
            "a status word is short and printable", text);
    for (const char *const key : {"model", "curswversion", "prevswversion", "sn"}) {
        promise(fuzz::isPrintableLine(base::textOf(record.get(), key)), "a text is printable",
                text);
    }
}

void tryFileServer(std::string_view text) {
    FromExtender taken;
    if (!checkFileServerInfo(kMac, text, true, taken)) {
        return checkRefusal(taken, text);
    }
    const base::Json object = base::parsed(taken.text);
    for (const char *const key : {"fileServerURL", "activationTime", "checksum", "swVersion"}) {
        promise(fuzz::isPrintableLine(base::textOf(object.get(), key)), "a text is printable",
                text);
    }
}

std::string quoted(std::string_view text) {
    const base::Json item(cJSON_CreateString(std::string(text).c_str()));
    const base::JsonText printed(cJSON_PrintUnformatted(item.get()));
    return printed ? printed.get() : "\"\"";
}

// The text as the record of a good envelope, and as one text of a good record.
void tryInside(std::string_view text) {
    const auto envelope = [](const std::string &record) {
        return R"({"type":"swmgnt_info","sequence":1,"mac":"","version":"1.0.0","data":)"
               R"({"signalname":"updateUpgradeStatus","signaldata":)" +
               quoted(record) + "}}";
    };
    tryReport(kMac, envelope(std::string(text)));
    tryReport(kMac, envelope(R"({"model":"M","curswversion":)" + quoted(text) +
                             R"(,"prevswversion":"","mac":"02:00:00:00:00:0A","sn":"S","status":)" +
                             quoted(text) + "}"));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    tryReport(kMac, text);
    tryFileServer(text);
    tryInside(text);
    FromExtender taken;
    if (!checkEnvelope(text, "{}", taken)) { // a topic
        checkRefusal(taken, text);
    }
    return 0;
}
