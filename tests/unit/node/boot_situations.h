// SPDX-License-Identifier: MIT
// Every situation that a boot loader can find at power on, and what becomes of it.
#ifndef TESTS_NODE_BOOT_SITUATIONS_H
#define TESTS_NODE_BOOT_SITUATIONS_H

#include "node/boot_state.h"

#include <array>
#include <functional>
#include <optional>
#include <ostream>
#include <string>

enum class BankIs { whole, unreadable, empty };

struct Situation {
    node::Bank active = node::Bank::a;
    node::Bank next = node::Bank::a;
    std::optional<node::Bank> trial;
    int left = node::kTrialAttempts; // of the bank on trial
    std::array<BankIs, 2> banks{BankIs::whole, BankIs::whole};
    bool saves = true;

    BankIs of(node::Bank bank) const { return banks.at(static_cast<std::size_t>(bank)); }
};

// What became of a power on: who booted, and what the environment says from then on.
struct Decision {
    std::string booted; // "a", "b" or nothing
    std::string order;
    std::string active;
    std::string trial;
    std::string attempts;
    bool saved = false;

    bool operator==(const Decision &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Decision &decision);
std::ostream &operator<<(std::ostream &out, const Situation &situation);

/* All of them with these two banks as the running and the chosen one. */
void forEachSituation(node::Bank active, node::Bank next,
                      const std::function<void(const Situation &)> &look);

/* The boot state of a situation, and what the environment says by a state. */
node::BootState stateOf(const Situation &situation);
Decision storedIn(const node::BootState &state);

#endif
