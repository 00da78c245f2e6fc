// SPDX-License-Identifier: MIT
#include "base/bank_note.h"

#include "base/text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

namespace base {
namespace {

constexpr const char *kFailed = "failed";
constexpr const char *kFacts = "facts";
constexpr const char *kHasTrial = "has_trial";
constexpr const char *kBanks = "banks";
constexpr const char *kVersions = "failed_versions";
constexpr const char *kVersion = "version";

struct NumberRow {
    const char *key;
    std::int32_t OtaBankFacts::*number;
    int least;
};
constexpr std::array kNumbers{NumberRow{"active", &OtaBankFacts::active, 0},
                              NumberRow{"chosen", &OtaBankFacts::chosen, 0},
                              NumberRow{"next", &OtaBankFacts::next, 0},
                              NumberRow{"trial", &OtaBankFacts::trial, OTA_NO_BANK},
                              NumberRow{"healthy", &OtaBankFacts::healthy, 0}};

Result<void> takeVersion(const cJSON *object, char *version) {
    const auto text = takeText(object, kVersion);
    if (!text) {
        return text.error();
    }
    copyText(*text, version, OTA_BANK_VERSION_WIDTH);
    return {};
}

Result<void> takeFact(const cJSON *object, const char *key, int least, int most,
                      std::int32_t &number) {
    const auto taken = takeIntegerWithin(object, key, least, most);
    if (!taken) {
        return taken.error();
    }
    number = *taken;
    return {};
}

Result<void> takeBank(const cJSON *object, OtaBank &bank) {
    return takeVersion(object, bank.version)
        .andThen([&] { return takeFact(object, "whole", 0, 1, bank.whole); })
        .andThen([&] { return takeFact(object, "attempts", 0, kMostCounted, bank.attempts); });
}

Result<void> takeFailed(const cJSON *object, OtaFailedVersion &failed) {
    return takeVersion(object, failed.version)
        .andThen([&] { return takeFact(object, "trials", 1, kMostCounted, failed.trials); })
        .andThen([&] {
            return takeFact(object, "last", OTA_FAILED_BOOT, OTA_FAILED_HEALTH, failed.last);
        });
}

Result<void> takeFacts(const cJSON *object, OtaBankFacts &facts) {
    for (const NumberRow &row : kNumbers) {
        if (auto taken = takeFact(object, row.key, row.least, 1, facts.*row.number); !taken) {
            return taken;
        }
    }
    const auto banks = membersOf(itemOf(object, kBanks));
    const auto failed = membersOf(itemOf(object, kVersions));
    if (banks.size() != OTA_BANKS || failed.size() > OTA_FAILED_VERSIONS) {
        return Error{"it does not tell of two banks and at most sixteen versions"};
    }
    for (std::size_t i = 0; i < banks.size(); ++i) {
        if (auto taken = takeBank(banks[i], std::span(facts.banks)[i]); !taken) {
            return taken;
        }
    }
    for (const cJSON *const one : failed) {
        auto &next = std::span(facts.failed)[static_cast<std::size_t>(facts.failedCount)];
        if (auto taken = takeFailed(one, next); !taken) {
            return taken;
        }
        ++facts.failedCount;
    }
    return {};
}

std::span<const OtaFailedVersion> failedOf(const OtaBankFacts &facts) {
    const int count = std::clamp(facts.failedCount, 0, static_cast<int>(OTA_FAILED_VERSIONS));
    return std::span(facts.failed).first(static_cast<std::size_t>(count));
}

Json printedBanks(const OtaBankFacts &facts) {
    Json list = newList();
    for (const OtaBank &bank : facts.banks) {
        Json object = message({{kVersion, bank.version}});
        add(object.get(), "whole", bank.whole);
        add(object.get(), "attempts", bank.attempts);
        append(list.get(), std::move(object));
    }
    return list;
}

Json printedFailed(const OtaBankFacts &facts) {
    Json list = newList();
    for (const OtaFailedVersion &one : failedOf(facts)) {
        Json object = message({{kVersion, one.version}});
        add(object.get(), "trials", one.trials);
        add(object.get(), "last", one.last);
        append(list.get(), std::move(object));
    }
    return list;
}

} // namespace

const char *bankName(int bank) { return bank == 0 ? "a" : "b"; }

int otherBank(int bank) { return bank == 0 ? 1 : 0; }

std::string namedBank(const OtaBankFacts &facts, int bank) {
    const std::string version = std::span(facts.banks)[bank == 0 ? 0 : 1].version;
    return std::string("bank ") + bankName(bank) + (version.empty() ? "" : " (" + version + ")");
}

const char *failureName(int failure) { return failure == OTA_FAILED_HEALTH ? "health" : "boot"; }

const OtaFailedVersion *failedVersion(const OtaBankFacts &facts, std::string_view version) {
    const auto failed = failedOf(facts);
    const auto found = std::find_if(failed.begin(), failed.end(), [&](const OtaFailedVersion &one) {
        return version == one.version;
    });
    return found == failed.end() ? nullptr : &*found;
}

Json bankNote(const Result<BankNews> &news) {
    Json note = message({{"note", "banks"}});
    if (!news) {
        add(note.get(), kFailed, news.error().text);
        return note;
    }
    Json facts = newObject();
    for (const NumberRow &row : kNumbers) {
        add(facts.get(), row.key, news->facts.*row.number);
    }
    add(facts.get(), kBanks, printedBanks(news->facts));
    add(facts.get(), kVersions, printedFailed(news->facts));
    add(note.get(), kHasTrial, news->hasTrial ? 1 : 0);
    add(note.get(), kFacts, std::move(facts));
    return note;
}

Result<BankNews> takeBankNote(const cJSON *note) {
    if (const cJSON *const failed = itemOf(note, kFailed)) {
        return Error{textOf(failed)};
    }
    BankNews news;
    news.hasTrial = numberOf(note, kHasTrial) != 0;
    if (const auto taken = takeFacts(itemOf(note, kFacts), news.facts); !taken) {
        return taken.error().within("the host's note of the banks cannot be read: ");
    }
    return news;
}

} // namespace base
