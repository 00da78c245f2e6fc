// SPDX-License-Identifier: MIT
// Chooses the bank that boots next, and takes back a choice that was not made whole.
#include "platform/activation.h"

#include "node/bank_device.h"
#include "node/image_check.h"
#include "platform/hooks.h"
#include "platform/nal.h"
#include "platform/node.h"

#include <string>

namespace platform {
namespace {

using base::Reason;

// A bank found damaged is recorded as not whole: it must not boot, nor be offered as a version.
base::Result<void> compareAndRecord(node::BootState &state, node::Bank bank) {
    auto comparison = node::compareBank(state.of(bank), node().config().bankPath(bank));
    if (node::readsOther(comparison)) {
        state.of(bank) = node::BankRecord{};
    }
    return comparison;
}

// Chosen is on trial, until the node was healthy on it.
base::Result<void> choose(node::BootState &state, node::Bank bank) {
    state.next = bank;
    state.trial = bank;
    state.healthy = false;
    state.attemptsOf(bank) = node().config().trialAttempts;
    auto stored = node().writeBootState(state);
    if (stored) {
        return stored;
    }
    // The choice may be in place and only not known to last: it must not boot after a failure.
    if (const auto back = takeChoiceBack(state); !back) {
        return stored.error().within("", "; the choice was not taken back: " + back.error().text);
    }
    return stored;
}

// The agent may activate whatever the bank holds; what may not be written may not boot either.
base::Result<void> isOfAllowedVersion(const node::BootState &state, node::Bank bank) {
    const std::string &version = state.of(bank).version;
    const std::string holds = std::string("bank ") + node::bankName(bank) + " holds " + version;
    if (node::isUnderTheLowest(version, node().config())) {
        return base::Error{holds + ", the lowest that this node takes is " +
                               node().config().lowestVersion +
                               "; offer a newer one, or change lowest_version in [service]",
                           Reason::versionUnderFloor};
    }
    if (node::isRefused(state, version, node().config().refuseAfterTrials)) {
        return base::Error{holds +
                               ", which failed its trial; offer another version, or otactl "
                               "forget " +
                               version,
                           Reason::versionFailedBefore};
    }
    return {};
}

base::Result<void> mayBeActivated(const node::BootState &state, node::Bank bank) {
    if (!state.of(bank).whole) {
        return base::Error{std::string("bank ") + node::bankName(bank) +
                               " holds no whole image; write one first",
                           Reason::bankNotWhole};
    }
    return isFreeToChange(state).andThen([&] { return isOfAllowedVersion(state, bank); });
}

base::Result<void> activatePassive() {
    auto read = node().readBootState();
    if (!read) {
        return read.error();
    }
    node::BootState &state = *read;
    const node::Bank passive = node::otherBank(state.active);
    if (auto may = mayBeActivated(state, passive); !may) {
        return may;
    }
    const bool stands = state.next == passive && state.isOnTrial(passive) &&
                        state.attemptsOf(passive) > 0 && !node().activationHalfWay;
    node().activationHalfWay = true;
    if (auto recorded = compareAndRecord(state, passive); !recorded) {
        // What is reported as failed must not boot.
        const auto back = takeChoiceBack(state);
        return back ? recorded : recorded.error().within("", "; " + back.error().text);
    }
    if (!stands) {
        if (auto chosen = choose(state, passive); !chosen) {
            return chosen;
        }
    }
    node().activationHalfWay = false;
    return {};
}

base::Result<void> fallBack() {
    auto read = node().readBootState();
    if (!read) {
        return read.error();
    }
    node::BootState &state = *read;
    if (!node().activationHalfWay && node::bankToBoot(state) == state.next) {
        return {};
    }
    const node::Bank passive = node::otherBank(state.active);
    if (state.of(passive).whole) {
        static_cast<void>(compareAndRecord(state, passive)); // reported already
    }
    return takeChoiceBack(state);
}

} // namespace

base::Result<void> isFreeToChange(const node::BootState &state) {
    if (!state.isOnTrial(state.active) || !state.of(node::otherBank(state.active)).whole) {
        return {};
    }
    return base::Error{std::string("bank ") + node::bankName(state.active) +
                           " runs on trial, and the other one is what it would fall back to; wait "
                           "for the commit, or otactl commit",
                       Reason::bankInUse};
}

base::Result<void> takeChoiceBack(node::BootState &state) {
    if (!state.isOnTrial(state.active)) {
        state.endTrial();
    }
    state.next = state.active;
    auto stored = node().writeBootState(state);
    if (stored) {
        node().activationHalfWay = false;
    }
    return stored;
}

} // namespace platform

int nal_activatePassiveImage(void) {
    const auto activated = platform::activatePassive();
    if (activated) {
        return 1;
    }
    const base::Error error = activated.error().orBecause(base::Reason::bootStateNotWritten);
    nalLogError(__func__, __LINE__, "nal: the passive bank was not activated: %s",
                error.text.c_str());
    platform::tellReason(error);
    return 0;
}

/*
 * The boot state is replaced in one step, so an activation is half-way in two cases only: it was
 * reported as failed and its choice, or that of an earlier one, could not be taken back for sure;
 * or the chosen bank is no longer whole. Everything else is an activation that stands.
 */
int nal_fallBackToActiveImage(void) {
    const auto back = platform::fallBack();
    if (back) {
        return 0;
    }
    nalLogError(__func__, __LINE__, "nal: the failed activation was not taken back: %s",
                back.error().text.c_str());
    return -1;
}
