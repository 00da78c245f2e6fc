// SPDX-License-Identifier: MIT
// Chooses the bank that boots next, and takes back a choice that was not made whole.
#include "platform/activation.h"

#include "base/because.h"
#include "node/bank_device.h"
#include "node/image_check.h"
#include "platform/nal.h"
#include "platform/node.h"
#include "platform/stage.h"

#include <string>

namespace platform {
namespace {

using base::Reason;

bool store(const node::BootState &state, std::string &whatIsWrong) {
    return base::orBecause(node::writeBootState(node().config().bootState, state, whatIsWrong),
                           Reason::bootStateNotWritten);
}

// A bank found damaged is recorded as not whole: it must not boot, nor be offered as a version.
bool compareAndRecord(node::BootState &state, node::Bank bank, std::string &whatIsWrong) {
    const auto comparison = node::compareBank(state.of(bank), node().config().bankPath(bank));
    if (node::readsOther(comparison)) {
        state.of(bank) = node::BankRecord{};
    }
    return comparison || base::passOn(comparison.error(), whatIsWrong);
}

// Chosen is on trial, until the node was healthy on it.
bool choose(node::BootState &state, node::Bank bank, std::string &whatIsWrong) {
    state.next = bank;
    state.trial = bank;
    state.healthy = false;
    state.attemptsOf(bank) = node().config().trialAttempts;
    if (store(state, whatIsWrong)) {
        return true;
    }
    // The choice may be in place and only not known to last: it must not boot after a failure.
    std::string notTakenBack;
    if (!takeChoiceBack(state, notTakenBack)) {
        whatIsWrong += "; the choice was not taken back: " + notTakenBack;
    }
    return false;
}

// The agent may activate whatever the bank holds; what may not be written may not boot either.
bool isRefusedVersion(const node::BootState &state, node::Bank bank, std::string &whatIsWrong) {
    const std::string &version = state.of(bank).version;
    if (node::isUnderTheLowest(version, node().config())) {
        whatIsWrong = std::string("bank ") + node::bankName(bank) + " holds " + version +
                      ", the lowest that this node takes is " + node().config().lowestVersion +
                      "; offer a newer one, or change lowest_version in [service]";
        base::because(Reason::versionUnderFloor);
        return true;
    }
    if (!node::isRefused(state, version, node().config().refuseAfterTrials)) {
        return false;
    }
    whatIsWrong = std::string("bank ") + node::bankName(bank) + " holds " + version +
                  ", which failed its trial; offer another version, or otactl forget " + version;
    base::because(Reason::versionFailedBefore);
    return true;
}

bool activatePassive(std::string &whatIsWrong) {
    node::BootState state;
    if (!node::readBootState(node().config().bootState, state, whatIsWrong)) {
        return base::orBecause(false, Reason::bootStateUnreadable);
    }
    const node::Bank passive = node::otherBank(state.active);
    if (!state.of(passive).whole) {
        whatIsWrong = std::string("bank ") + node::bankName(passive) +
                      " holds no whole image; write one first";
        return base::orBecause(false, Reason::bankNotWhole);
    }
    if (isOnTrialItself(state, whatIsWrong)) {
        return base::orBecause(false, Reason::bankInUse);
    }
    if (isRefusedVersion(state, passive, whatIsWrong)) {
        return false;
    }
    const bool stands = state.next == passive && state.isOnTrial(passive) &&
                        state.attemptsOf(passive) > 0 && !node().activationHalfWay;
    node().activationHalfWay = true;
    const bool isRecorded = compareAndRecord(state, passive, whatIsWrong);
    // What is reported as failed must not boot.
    if (!isRecorded) {
        std::string notStored;
        if (!takeChoiceBack(state, notStored)) {
            whatIsWrong += "; " + notStored;
        }
    }
    if (!isRecorded || (!stands && !choose(state, passive, whatIsWrong))) {
        return false;
    }
    node().activationHalfWay = false;
    return true;
}

bool fallBack(std::string &whatIsWrong) {
    node::BootState state;
    if (!node::readBootState(node().config().bootState, state, whatIsWrong)) {
        return false;
    }
    if (!node().activationHalfWay && node::bankToBoot(state) == state.next) {
        return true;
    }
    const node::Bank passive = node::otherBank(state.active);
    if (state.of(passive).whole) {
        std::string alreadyReported;
        compareAndRecord(state, passive, alreadyReported);
    }
    return takeChoiceBack(state, whatIsWrong);
}

} // namespace

bool isOnTrialItself(const node::BootState &state, std::string &whatIsWrong) {
    if (!state.isOnTrial(state.active) || !state.of(node::otherBank(state.active)).whole) {
        return false;
    }
    whatIsWrong = std::string("bank ") + node::bankName(state.active) +
                  " runs on trial, and the other one is what it would fall back to; wait for the "
                  "commit, or otactl commit";
    return true;
}

bool takeChoiceBack(node::BootState &state, std::string &whatIsWrong) {
    if (!state.isOnTrial(state.active)) {
        state.endTrial();
    }
    state.next = state.active;
    if (!store(state, whatIsWrong)) {
        return false;
    }
    node().activationHalfWay = false;
    return true;
}

} // namespace platform

int nal_activatePassiveImage(void) {
    std::string whatIsWrong;
    platform::tellStage(NalStage::activating);
    base::forgetReason();
    if (platform::activatePassive(whatIsWrong)) {
        platform::tellStage(NalStage::activated);
        return 1;
    }
    nalLogError(__func__, __LINE__, "nal: the passive bank was not activated: %s",
                whatIsWrong.c_str());
    base::tellReason(base::Reason::bootStateNotWritten, whatIsWrong);
    return 0;
}

/*
 * The boot state is replaced in one step, so an activation is half-way in two cases only: it was
 * reported as failed and its choice, or that of an earlier one, could not be taken back for sure;
 * or the chosen bank is no longer whole. Everything else is an activation that stands.
 */
int nal_fallBackToActiveImage(void) {
    std::string whatIsWrong;
    if (platform::fallBack(whatIsWrong)) {
        return 0;
    }
    nalLogError(__func__, __LINE__, "nal: the failed activation was not taken back: %s",
                whatIsWrong.c_str());
    return -1;
}
