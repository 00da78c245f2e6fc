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

std::string named(const BootState &state, Bank bank) {
    const std::string &version = state.of(bank).version;
    return std::string("bank ") + bankName(bank) + (version.empty() ? "" : " (" + version + ")");
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
    state.trial.reset();
    state.attemptsOf(bank) = 0;
    state.next = otherBank(bank);
    return writeBootState(node().config().bootState, state, whatIsWrong);
}

} // namespace
} // namespace nal

NalTrial nalBeginTrial(std::string &what) {
    nal::BootState state;
    if (!nal::read(state, what) || !state.trial) {
        return NalTrial::none;
    }
    if (*state.trial == state.active) {
        what = nal::named(state, state.active) + " is on trial, " +
               std::to_string(state.attemptsOf(state.active)) + " boot attempts left";
        return NalTrial::running;
    }
    const nal::Bank bank = *state.trial;
    what = nal::named(state, bank) + " failed its trial: it used up its boot attempts, " +
           nal::named(state, state.active) + " runs again";
    std::string notStored;
    if (!nal::settleFailure(state, bank, nal::TrialFailure::boot, notStored)) {
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
        whatIsWrong = nal::named(state, state.active) + " runs and is not on trial";
        return false;
    }
    const nal::Bank old = nal::otherBank(state.active);
    if (!state.of(old).whole) {
        whatIsWrong = nal::named(state, old) + " holds no whole image to fall back to";
        return false;
    }
    return nal::settleFailure(state, state.active, nal::TrialFailure::health, whatIsWrong);
}

bool nalCommit(std::string &whatIsWrong) {
    nal::BootState state;
    if (!nal::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        return true;
    }
    state.trial.reset();
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
