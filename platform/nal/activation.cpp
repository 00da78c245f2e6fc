// SPDX-License-Identifier: MIT
// Chooses the bank that boots next, and takes back a choice that was not made whole.
#include "platform/nal.h"
#include "platform/nal/bank_device.h"
#include "platform/nal/node.h"

#include <string>

namespace nal {
namespace {

bool bytesAreRecorded(const BankRecord &record, const std::string &path, std::string &whatIsWrong) {
    std::string stored;
    if (!readBackDigest(path, record.size, stored, whatIsWrong)) {
        return false;
    }
    if (stored != record.sha256) {
        whatIsWrong = "the image in the bank " + path +
                      " is damaged, its SHA-256 sum is not the recorded one; write it again";
        return false;
    }
    return true;
}

// A bank found damaged is recorded as not whole: it must not boot, nor be offered as a version.
bool holdsItsImage(BootState &state, Bank bank, std::string &whatIsWrong) {
    const Config &config = node().config();
    if (!state.of(bank).whole) {
        whatIsWrong =
            std::string("bank ") + bankName(bank) + " holds no whole image; write one first";
        return false;
    }
    if (bytesAreRecorded(state.of(bank), config.bankPath(bank), whatIsWrong)) {
        return true;
    }
    state.of(bank) = BankRecord{};
    state.next = bankToBoot(state);
    std::string notStored;
    if (!writeBootState(config.bootStatePath, state, notStored)) {
        whatIsWrong += "; " + notStored;
    }
    return false;
}

bool choose(BootState &state, Bank bank, std::string &whatIsWrong) {
    state.next = bank;
    return writeBootState(node().config().bootStatePath, state, whatIsWrong);
}

bool activatePassive(std::string &whatIsWrong) {
    BootState state;
    if (!readBootState(node().config().bootStatePath, state, whatIsWrong)) {
        return false;
    }
    const Bank passive = otherBank(state.active);
    if (!holdsItsImage(state, passive, whatIsWrong)) {
        return false;
    }
    node().activationHalfWay = true;
    if (!choose(state, passive, whatIsWrong)) {
        return false;
    }
    node().activationHalfWay = false;
    return true;
}

} // namespace
} // namespace nal

int nal_activatePassiveImage(void) {
    std::string whatIsWrong;
    if (nal::activatePassive(whatIsWrong)) {
        return 1;
    }
    nalLogError(__func__, __LINE__, "nal: the passive bank was not activated: %s",
                whatIsWrong.c_str());
    return 0;
}

/*
 * The boot state is replaced in one step, so an activation is half-way in two cases only: the new
 * state is in place but could not be made to survive a power cut, which was reported as a failure;
 * or the chosen bank is no longer whole. Everything else is an activation that stands.
 */
int nal_fallBackToActiveImage(void) {
    nal::BootState state;
    if (!nal::node().bootState(state, __func__, __LINE__)) {
        return -1;
    }
    if (!nal::node().activationHalfWay && nal::bankToBoot(state) == state.next) {
        return 0;
    }
    std::string whatIsWrong;
    if (!nal::choose(state, state.active, whatIsWrong)) {
        nalLogError(__func__, __LINE__, "nal: the failed activation was not taken back: %s",
                    whatIsWrong.c_str());
        return -1;
    }
    nal::node().activationHalfWay = false;
    return 0;
}
