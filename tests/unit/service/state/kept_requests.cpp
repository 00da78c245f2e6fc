// SPDX-License-Identifier: MIT
// Requests, ledgers and facts as the tests of what is kept need them.
#include "tests/unit/service/state/kept_requests.h"

#include "base/json.h"

namespace {

constexpr std::int64_t kSince = 100; // seconds since the timers were armed

service::Request request(std::uint64_t ticket, const char *kind, const std::string &rest) {
    service::Request made;
    made.ticket = ticket;
    made.kind = kind;
    made.event = std::string(R"({"event":")") + kind + "\"," + rest + "}";
    return made;
}

} // namespace

service::Request offer(std::uint64_t ticket, int policy, const std::string &version) {
    service::Request made = request(ticket, service::kNewImage, R"("descriptor":"{}","config":{})");
    made.version = version;
    made.policy = policy;
    return made;
}

service::Request trigger(std::uint64_t ticket) {
    return request(ticket, service::kMobileTrigger, R"("newswavailflag":1)");
}

service::Request activationTime(std::uint64_t ticket) {
    return request(ticket, service::kActivationTime, R"("record":"{}")");
}

service::Request expiryOf(const std::string &timer) {
    return request(0, service::kTimer, R"("name":")" + timer + "\"");
}

service::ArmedTimer armed(const std::string &timer, int seconds) {
    return {timer, seconds, kBootNow + (seconds - kSince) * 1000, kArmedAt, kArmedAt + seconds};
}

std::string memoryWith(const std::map<std::string, int> &numbers, const std::string &actTime,
                       const std::string &rebootTime) {
    std::map<std::string, int> all{{"g_dwldStartTimer", 0},
                                   {"g_dwldRetryTimer", 0},
                                   {"g_mobileTriggerExpire", 0},
                                   {"g_mAppRebootTrig", 0},
                                   {"g_ISDeferedUpgrade", 0},
                                   {"g_firstTimeObardingWindowGivenPSNWBuildSame", 1},
                                   {"reboot_flag", 0}};
    for (const auto &[key, value] : numbers) {
        all[key] = value;
    }
    std::string text = R"({"swInfo":{"nxtMSVersion":""},"swActTime":{"model":"","actTime":")" +
                       actTime + R"("},"g_rebootTime":")" + rebootTime + "\"";
    for (const auto &[key, value] : all) {
        text += ",\"" + key + "\":" + std::to_string(value);
    }
    return text + "}";
}

int numberIn(const std::string &memory, const std::string &key) {
    const base::Json object = base::parseObject(memory);
    return base::numberOf(object.get(), key.c_str(), -1);
}

std::string activationTimeIn(const std::string &memory) {
    const base::Json object = base::parseObject(memory);
    const auto text = base::takeText(base::itemOf(object.get(), "swActTime"), "actTime");
    return text ? *text : "no text";
}

service::Ledger emptyLedger() {
    service::Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 100;
    return ledger;
}

service::BootFacts sameBoot() {
    return {.bootId = "boot-1",
            .activeBank = "a",
            .runningVersion = kOld,
            .bootNowMs = kBootNow,
            .wallNow = kArmedAt + kSince};
}

service::BootFacts otherBoot() {
    service::BootFacts facts = sameBoot();
    facts.bootId = "boot-2";
    facts.bootNowMs = 7'000;
    return facts;
}

service::BootFacts bootedTheOther(const std::string &version) {
    service::BootFacts facts = otherBoot();
    facts.activeBank = "b";
    facts.runningVersion = version;
    return facts;
}
