// SPDX-License-Identifier: MIT
#include "platform/trial.h"

#include "node/bank_device.h"
#include "platform/activation.h"
#include "platform/command.h"
#include "platform/nal.h"
#include "platform/node.h"

#include <chrono>

namespace platform {
namespace {

// The old bank stays chosen; what the new one holds is looked at, since it may be why it failed.
base::Result<void> settleFailure(node::BootState &state, node::Bank bank,
                                 node::TrialFailure failure) {
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
    return node().writeBootState(state);
}

// A boot loader may look at no checksum: what it is sent to must be there.
base::Result<void> canFallBack(const node::BootState &state) {
    const node::Bank old = node::otherBank(state.active);
    if (!state.of(old).whole) {
        return base::Error{node::namedBank(state, old) + " holds no whole image to fall back to"};
    }
    return node::compareBank(state.of(old), node().config().bankPath(old));
}

} // namespace
} // namespace platform

NalTrial nalBeginTrial(std::string &what) {
    auto read = platform::node().readBootState();
    if (!read) {
        what = read.error().text;
        return NalTrial::none;
    }
    node::BootState &state = *read;
    if (!state.trial) {
        return NalTrial::none;
    }
    if (*state.trial == state.active) {
        what = node::namedBank(state, state.active) + " is on trial, " +
               std::to_string(state.attemptsOf(state.active)) + " boot attempts left";
        return NalTrial::running;
    }
    const node::Bank bank = *state.trial;
    const int left = state.attemptsOf(bank);
    base::Result<void> stored;
    if (left == 0) {
        what = node::namedBank(state, bank) + " failed its trial: it used up its boot attempts, ";
        stored = platform::settleFailure(state, bank, node::TrialFailure::boot);
    } else {
        // That says nothing about the version: an attempt that could not be counted is not made.
        what = node::namedBank(state, bank) + " was passed over by the boot loader with " +
               std::to_string(left) + " boot attempts left, ";
        stored = platform::takeChoiceBack(state);
    }
    what += node::namedBank(state, state.active) + " runs again";
    if (!stored) {
        what += "; this could not be stored: " + stored.error().text;
    }
    return NalTrial::failed;
}

base::Result<void> nalCheckHealth() {
    const node::Config &config = platform::node().config();
    if (config.healthCommand.empty()) {
        return {};
    }
    return platform::runCommand("the health command", config.healthCommand,
                                std::chrono::seconds(config.healthLimitSeconds));
}

base::Result<void> nalFailTrial() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    if (!state->isOnTrial(state->active)) {
        return base::Error{node::namedBank(*state, state->active) + " runs and is not on trial"};
    }
    if (auto can = platform::canFallBack(*state); !can) {
        return can;
    }
    state->attemptsOf(state->active) = platform::node().config().trialAttempts; // for nalMayReboot
    return platform::settleFailure(*state, state->active, node::TrialFailure::health);
}

base::Result<void> nalMayReboot() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    if (auto can = platform::canFallBack(*state); !can) {
        return can;
    }
    if (state->attemptsOf(state->active) == 0) {
        return base::Error{"the boot loader does not take " +
                           node::namedBank(*state, node::otherBank(state->active)) +
                           ", which was chosen"};
    }
    --state->attemptsOf(state->active);
    return platform::node().writeBootState(*state);
}

bool nalIsHealthy() {
    const auto state = platform::node().readBootState();
    return state && state->isOnTrial(state->active) && state->healthy;
}

base::Result<void> nalPrepareCommit() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    if (!state->isOnTrial(state->active)) {
        return {};
    }
    state->healthy = true;
    state->attemptsOf(state->active) = platform::node().config().trialAttempts;
    return platform::node().writeBootState(*state);
}

base::Result<void> nalCommit() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    if (!state->isOnTrial(state->active)) {
        return {};
    }
    state->endTrial();
    node::forgetFailure(*state, state->of(state->active).version); // of an earlier trial
    state->next = state->active;
    state->attemptsOf(state->active) = platform::node().config().trialAttempts;
    return platform::node().writeBootState(*state);
}

base::Result<void> nalForget(const std::string &version) {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    if (!node::forgetFailure(*state, version)) {
        return base::Error{version + " is not remembered as a version that failed its trial"};
    }
    return platform::node().writeBootState(*state);
}
