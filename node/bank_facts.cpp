// SPDX-License-Identifier: MIT
#include "node/bank_facts.h"

#include "base/text.h"

#include <span>

namespace node {
namespace {

std::int32_t numberOf(Bank bank) { return static_cast<std::int32_t>(bank); }

void fill(const BootState &state, Bank bank, OtaBank &filled) {
    base::copyText(state.of(bank).version, filled.version, sizeof filled.version);
    filled.whole = state.of(bank).whole ? 1 : 0;
    filled.attempts = state.attemptsOf(bank);
}

} // namespace

OtaBankFacts factsOf(const BootState &state) {
    OtaBankFacts facts{};
    facts.active = numberOf(state.active);
    facts.chosen = numberOf(state.next);
    facts.next = numberOf(bankToBoot(state));
    facts.trial = state.trial ? numberOf(*state.trial) : OTA_NO_BANK;
    facts.healthy = state.healthy ? 1 : 0;
    for (const Bank bank : {Bank::a, Bank::b}) {
        fill(state, bank, std::span(facts.banks)[static_cast<std::size_t>(bank)]);
    }
    static_assert(kMaxFailed == OTA_FAILED_VERSIONS);
    for (const FailedVersion &one : state.failed) {
        auto &filled = std::span(facts.failed)[static_cast<std::size_t>(facts.failedCount++)];
        base::copyText(one.version, filled.version, sizeof filled.version);
        filled.trials = one.trials;
        filled.last = one.last == TrialFailure::health ? OTA_FAILED_HEALTH : OTA_FAILED_BOOT;
    }
    return facts;
}

} // namespace node
