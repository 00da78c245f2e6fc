// SPDX-License-Identifier: MIT
// What a boot loader does: boots the chosen bank if its bytes are good, else the other one.
#include "platform/nal/boot.h"

#include "platform/nal/bank_device.h"

namespace nal {
namespace {

// Says whether this bank can boot; one whose bytes are wrong loses its record.
bool canBoot(BankRecord &record, const std::string &path, std::string &whatIsWrong) {
    if (!record.whole) {
        whatIsWrong = "the bank " + path + " holds no whole image";
        return false;
    }
    const BankBytes bytes = compareBank(record, path, whatIsWrong);
    if (bytes == BankBytes::different) {
        record = BankRecord{};
    }
    return bytes == BankBytes::recorded;
}

} // namespace

bool bootNode(const std::string &statePath, const std::array<std::string, 2> &bankPaths,
              BootState &state, std::string &passedOver, std::string &whatIsWrong) {
    if (!readBootState(statePath, state, whatIsWrong)) {
        return false;
    }
    const auto pathOf = [&](Bank bank) { return bankPaths.at(static_cast<std::size_t>(bank)); };
    BootState booted = state;
    Bank bank = state.next;
    passedOver.clear();
    if (!canBoot(booted.of(bank), pathOf(bank), passedOver)) {
        bank = otherBank(bank);
        if (!canBoot(booted.of(bank), pathOf(bank), whatIsWrong)) {
            whatIsWrong = "no bank can boot: " + passedOver + "; " + whatIsWrong;
            return false;
        }
    }
    const bool sameWholeness = booted.banks[0].whole == state.banks[0].whole &&
                               booted.banks[1].whole == state.banks[1].whole;
    if (sameWholeness && state.active == bank && state.next == bank) {
        return true;
    }
    booted.active = bank;
    booted.next = bank;
    state = booted;
    return writeBootState(statePath, state, whatIsWrong);
}

} // namespace nal
