// SPDX-License-Identifier: MIT
// The trial of a new version: what a host does about it at the first start after a boot.
#include "platform/nal/trial.h"

#include "platform/nal.h"
#include "platform/nal/activation.h"
#include "platform/nal/bank_device.h"
#include "platform/nal/command.h"
#include "platform/nal/node.h"

#include <chrono>

namespace nal {
namespace {

bool read(BootState &state, std::string &whatIsWrong) {
    return readBootState(node().config().bootState, state, whatIsWrong);
}

// The old bank stays chosen; what the new one holds is looked at, since it may be why it failed.
bool settleFailure(BootState &state, Bank bank, TrialFailure failure, std::string &whatIsWrong) {
    const std::string version = state.of(bank).version;
    if (!version.empty()) {
        rememberFailure(state, version, failure);
    }
    std::string alreadyKnown;
    if (state.of(bank).whole && compareBank(state.of(bank), node().config().bankPath(bank),
                                            alreadyKnown) == BankBytes::different) {
        state.of(bank) = BankRecord{};
    }
    state.endTrial();
    state.next = otherBank(bank);
    return writeBootState(node().config().bootState, state, whatIsWrong);
}

// A boot loader may look at no checksum: what it is sent to must be there.
bool canFallBack(const BootState &state, std::string &whatIsWrong) {
    const Bank old = otherBank(state.active);
    if (!state.of(old).whole) {
        whatIsWrong = namedBank(state, old) + " holds no whole image to fall back to";
        return false;
    }
    return compareBank(state.of(old), node().config().bankPath(old), whatIsWrong) ==
           BankBytes::recorded;
}

} // namespace
} // namespace nal

NalTrial nalBeginTrial(std::string &what) {
    nal::BootState state;
    if (!nal::read(state, what) || !state.trial) {
        return NalTrial::none;
    }
    if (*state.trial == state.active) {
        what = nal::namedBank(state, state.active) + " is on trial, " +
               std::to_string(state.attemptsOf(state.active)) + " boot attempts left";
        return NalTrial::running;
    }
    const nal::Bank bank = *state.trial;
    const int left = state.attemptsOf(bank);
    std::string notStored;
    bool stored = false;
    if (left == 0) {
        what = nal::namedBank(state, bank) + " failed its trial: it used up its boot attempts, ";
        stored = nal::settleFailure(state, bank, nal::TrialFailure::boot, notStored);
    } else {
        // That says nothing about the version: an attempt that could not be counted is not made.
        what = nal::namedBank(state, bank) + " was passed over by the boot loader with " +
               std::to_string(left) + " boot attempts left, ";
        stored = nal::takeChoiceBack(state, notStored);
    }
    what += nal::namedBank(state, state.active) + " runs again";
    if (!stored) {
        what += "; this could not be stored: " + notStored;
    }
    return NalTrial::failed;
}

bool nalCheckHealth(std::string &whatIsWrong) {
    const nal::Config &config = nal::node().config();
    return config.healthCommand.empty() ||
           nal::runCommand("the health command", config.healthCommand,
                           std::chrono::seconds(config.healthLimitSeconds), whatIsWrong);
}

bool nalFailTrial(std::string &whatIsWrong) {
    nal::BootState state;
    if (!nal::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        whatIsWrong = nal::namedBank(state, state.active) + " runs and is not on trial";
        return false;
    }
    if (!nal::canFallBack(state, whatIsWrong)) {
        return false;
    }
    state.attemptsOf(state.active) = nal::node().config().trialAttempts; // for nalMayReboot
    return nal::settleFailure(state, state.active, nal::TrialFailure::health, whatIsWrong);
}

bool nalMayReboot(std::string &whatIsWrong) {
    nal::BootState state;
    if (!nal::read(state, whatIsWrong)) {
        return false;
    }
    if (!nal::canFallBack(state, whatIsWrong)) {
        return false;
    }
    if (state.attemptsOf(state.active) == 0) {
        whatIsWrong = "the boot loader does not take " +
                      nal::namedBank(state, nal::otherBank(state.active)) + ", which was chosen";
        return false;
    }
    --state.attemptsOf(state.active);
    return nal::writeBootState(nal::node().config().bootState, state, whatIsWrong);
}

bool nalIsHealthy() {
    nal::BootState state;
    std::string whatIsWrong;
    return nal::read(state, whatIsWrong) && state.isOnTrial(state.active) && state.healthy;
}

bool nalPrepareCommit(std::string &whatIsWrong) {
    nal::BootState state;
    if (!nal::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        return true;
    }
    state.healthy = true;
    state.attemptsOf(state.active) = nal::node().config().trialAttempts;
    return nal::writeBootState(nal::node().config().bootState, state, whatIsWrong);
}

bool nalCommit(std::string &whatIsWrong) {
    nal::BootState state;
    if (!nal::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        return true;
    }
    state.endTrial();
    nal::forgetFailure(state, state.of(state.active).version); // of an earlier trial
    state.next = state.active;
    state.attemptsOf(state.active) = nal::node().config().trialAttempts;
    return nal::writeBootState(nal::node().config().bootState, state, whatIsWrong);
}

bool nalForget(const std::string &version, std::string &whatIsWrong) {
    nal::BootState state;
    if (!nal::read(state, whatIsWrong)) {
        return false;
    }
    if (!nal::forgetFailure(state, version)) {
        whatIsWrong = version + " is not remembered as a version that failed its trial";
        return false;
    }
    return nal::writeBootState(nal::node().config().bootState, state, whatIsWrong);
}
