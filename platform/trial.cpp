// SPDX-License-Identifier: MIT
#include "platform/trial.h"

#include "base/because.h"
#include "node/bank_device.h"
#include "platform/activation.h"
#include "platform/command.h"
#include "platform/nal.h"
#include "platform/node.h"

#include <chrono>

namespace platform {
namespace {

bool read(node::BootState &state, std::string &whatIsWrong) {
    return node::readBootState(node().config().bootState, state, whatIsWrong);
}

// The old bank stays chosen; what the new one holds is looked at, since it may be why it failed.
bool settleFailure(node::BootState &state, node::Bank bank, node::TrialFailure failure,
                   std::string &whatIsWrong) {
    const std::string version = state.of(bank).version;
    if (!version.empty()) {
        node::rememberFailure(state, version, failure);
    }
    if (state.of(bank).whole &&
        node::readsOther(node::compareBank(state.of(bank), node().config().bankPath(bank)))) {
        state.of(bank) = node::BankRecord{};
    }
    state.endTrial();
    state.next = node::otherBank(bank);
    return node::writeBootState(node().config().bootState, state, whatIsWrong);
}

// A boot loader may look at no checksum: what it is sent to must be there.
bool canFallBack(const node::BootState &state, std::string &whatIsWrong) {
    const node::Bank old = node::otherBank(state.active);
    if (!state.of(old).whole) {
        whatIsWrong = node::namedBank(state, old) + " holds no whole image to fall back to";
        return false;
    }
    const auto comparison = node::compareBank(state.of(old), node().config().bankPath(old));
    return comparison || base::passOn(comparison.error(), whatIsWrong);
}

} // namespace
} // namespace platform

NalTrial nalBeginTrial(std::string &what) {
    node::BootState state;
    if (!platform::read(state, what) || !state.trial) {
        return NalTrial::none;
    }
    if (*state.trial == state.active) {
        what = node::namedBank(state, state.active) + " is on trial, " +
               std::to_string(state.attemptsOf(state.active)) + " boot attempts left";
        return NalTrial::running;
    }
    const node::Bank bank = *state.trial;
    const int left = state.attemptsOf(bank);
    std::string notStored;
    bool stored = false;
    if (left == 0) {
        what = node::namedBank(state, bank) + " failed its trial: it used up its boot attempts, ";
        stored = platform::settleFailure(state, bank, node::TrialFailure::boot, notStored);
    } else {
        // That says nothing about the version: an attempt that could not be counted is not made.
        what = node::namedBank(state, bank) + " was passed over by the boot loader with " +
               std::to_string(left) + " boot attempts left, ";
        stored = platform::takeChoiceBack(state, notStored);
    }
    what += node::namedBank(state, state.active) + " runs again";
    if (!stored) {
        what += "; this could not be stored: " + notStored;
    }
    return NalTrial::failed;
}

bool nalCheckHealth(std::string &whatIsWrong) {
    const node::Config &config = platform::node().config();
    return config.healthCommand.empty() ||
           platform::runCommand("the health command", config.healthCommand,
                                std::chrono::seconds(config.healthLimitSeconds), whatIsWrong);
}

bool nalFailTrial(std::string &whatIsWrong) {
    node::BootState state;
    if (!platform::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        whatIsWrong = node::namedBank(state, state.active) + " runs and is not on trial";
        return false;
    }
    if (!platform::canFallBack(state, whatIsWrong)) {
        return false;
    }
    state.attemptsOf(state.active) = platform::node().config().trialAttempts; // for nalMayReboot
    return platform::settleFailure(state, state.active, node::TrialFailure::health, whatIsWrong);
}

bool nalMayReboot(std::string &whatIsWrong) {
    node::BootState state;
    if (!platform::read(state, whatIsWrong)) {
        return false;
    }
    if (!platform::canFallBack(state, whatIsWrong)) {
        return false;
    }
    if (state.attemptsOf(state.active) == 0) {
        whatIsWrong = "the boot loader does not take " +
                      node::namedBank(state, node::otherBank(state.active)) + ", which was chosen";
        return false;
    }
    --state.attemptsOf(state.active);
    return node::writeBootState(platform::node().config().bootState, state, whatIsWrong);
}

bool nalIsHealthy() {
    node::BootState state;
    std::string whatIsWrong;
    return platform::read(state, whatIsWrong) && state.isOnTrial(state.active) && state.healthy;
}

bool nalPrepareCommit(std::string &whatIsWrong) {
    node::BootState state;
    if (!platform::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        return true;
    }
    state.healthy = true;
    state.attemptsOf(state.active) = platform::node().config().trialAttempts;
    return node::writeBootState(platform::node().config().bootState, state, whatIsWrong);
}

bool nalCommit(std::string &whatIsWrong) {
    node::BootState state;
    if (!platform::read(state, whatIsWrong)) {
        return false;
    }
    if (!state.isOnTrial(state.active)) {
        return true;
    }
    state.endTrial();
    node::forgetFailure(state, state.of(state.active).version); // of an earlier trial
    state.next = state.active;
    state.attemptsOf(state.active) = platform::node().config().trialAttempts;
    return node::writeBootState(platform::node().config().bootState, state, whatIsWrong);
}

bool nalForget(const std::string &version, std::string &whatIsWrong) {
    node::BootState state;
    if (!platform::read(state, whatIsWrong)) {
        return false;
    }
    if (!node::forgetFailure(state, version)) {
        whatIsWrong = version + " is not remembered as a version that failed its trial";
        return false;
    }
    return node::writeBootState(platform::node().config().bootState, state, whatIsWrong);
}
