// SPDX-License-Identifier: MIT
#include "platform/take_back.h"

#include "platform/activation.h"
#include "platform/hooks.h"
#include "platform/node.h"

base::Result<void> nalTakeBack() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    // A running version that failed its trial is left for the old one: that is no choice of the
    // upgrade that was cancelled.
    const bool leavesItself =
        node::failedVersion(*state, state->of(state->active).version) != nullptr;
    return state->next == state->active || leavesItself ? base::Result<void>()
                                                        : platform::takeChoiceBack(*state);
}

base::Result<void> nalGiveUpPassive() {
    auto state = platform::node().readBootState();
    if (!state) {
        return state.error();
    }
    const node::Bank passive = node::otherBank(state->active);
    if (state->next == passive || state->trial) {
        return base::Error{node::namedBank(*state, passive) + " is activated or on trial"};
    }
    if (!state->of(passive).whole) {
        return {};
    }
    state->of(passive) = node::BankRecord{};
    auto written = platform::node().writeBootState(*state);
    if (written) {
        platform::tellEmptied();
    }
    return written;
}
