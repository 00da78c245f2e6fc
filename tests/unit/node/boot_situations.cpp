// SPDX-License-Identifier: MIT
// Every situation that a boot loader can find at power on, and what becomes of it.
#include "boot_situations.h"

#include "node/digest.h"

#include <utility>
#include <vector>

using node::Bank;

std::ostream &operator<<(std::ostream &out, const Decision &decision) {
    return out << "boots " << (decision.booted.empty() ? "nothing" : decision.booted)
               << ", BOOT_ORDER " << decision.order << ", ota_active " << decision.active
               << ", ota_trial " << decision.trial << ", attempts " << decision.attempts
               << (decision.saved ? ", saved" : ", not saved");
}

std::ostream &operator<<(std::ostream &out, const Situation &situation) {
    out << "active " << node::bankName(situation.active) << ", next "
        << node::bankName(situation.next) << ", trial "
        << (situation.trial ? node::bankName(*situation.trial) : "none") << ", " << situation.left
        << " left";
    for (const Bank bank : {Bank::a, Bank::b}) {
        const char *const names[] = {"whole", "unreadable", "empty"};
        out << ", " << node::bankName(bank) << " "
            << names[static_cast<std::size_t>(situation.of(bank))];
    }
    return out << (situation.saves ? "" : ", nothing can be stored");
}

void forEachSituation(Bank active, Bank next, const std::function<void(const Situation &)> &look) {
    const auto conditions = {BankIs::whole, BankIs::unreadable, BankIs::empty};
    std::vector<std::pair<std::optional<Bank>, int>> trials{{std::nullopt, 3}};
    for (const Bank bank : {Bank::a, Bank::b}) {
        for (int left = 0; left <= 3; ++left) {
            trials.emplace_back(bank, left);
        }
    }
    for (const auto &[trial, left] : trials) {
        for (const BankIs a : conditions) {
            for (const BankIs b : conditions) {
                for (const bool saves : {true, false}) {
                    look({active, next, trial, left, {a, b}, saves});
                }
            }
        }
    }
}

node::BootState stateOf(const Situation &situation) {
    node::BootState state;
    state.active = situation.active;
    state.next = situation.next;
    state.trial = situation.trial;
    if (state.trial) {
        state.attemptsOf(*state.trial) = situation.left;
    }
    for (const Bank bank : {Bank::a, Bank::b}) {
        if (situation.of(bank) != BankIs::empty) {
            state.of(bank) = {true, "4QZ-1", 4, node::sha256Of("bank")};
        }
    }
    return state;
}

Decision storedIn(const node::BootState &state) {
    Decision decision;
    decision.order = state.next == Bank::a ? "A B" : "B A";
    decision.active = node::bankName(state.active);
    decision.trial = state.trial ? node::bankName(*state.trial) : "";
    decision.attempts =
        std::to_string(state.attemptsLeft[0]) + " and " + std::to_string(state.attemptsLeft[1]);
    return decision;
}
