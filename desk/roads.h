// SPDX-License-Identifier: MIT
// The roads that a demonstration can take, as data.
#ifndef DESK_ROADS_H
#define DESK_ROADS_H

#include "desk/options.h"

#include "node/boot_state.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace desk {

// What is put to the node once it is idle, one after the other.
enum class Step {
    offer,          // the new image
    offerThenCut,   // the new image from a very slow server, which hurries once the power went
    mobileTrigger,  // the user says go
    activationTime, // the activation is moved to a few seconds from now
    damageBank,     // bytes of the passive bank change behind the agent's back
};

// How the node stands in the end.
enum class End {
    committed, // the new version runs, its bank is the image byte for byte, no mark is left
    switched,  // the new version runs, its bank is the image byte for byte
    written,   // the old version runs, the passive bank holds the image whole
    notWhole,  // the old version runs, the passive bank is not bootable
    untouched, // the old version runs, the passive bank holds what it held before
};

struct Road {
    std::string_view name;     // of the run folder
    std::string_view selector; // the option that chooses it; empty: the policy alone does
    std::string_view policies; // those it makes sense with
    bool gatewayOnly = false;
    bool mesh = false;       // a gateway and two extenders take it at once
    bool alwaysFast = false; // it has waits of minutes

    // the node
    bool passiveHoldsImage = false;
    bool passiveHoldsOld = false; // as the running one: a change would show
    bool smallBanks = false;
    std::uint64_t nodeFileLimit = 0;
    bool cutsAtACall = false;    // the power goes at a change of the storage, and comes back
    bool damageAtReboot = false; // of the bank that was just activated
    bool unhealthy = false;      // its health command fails on the new version

    // the offer
    bool wrongChecksum = false;
    bool serverRefuses = false;
    bool strangeAuthority = false;
    bool strangeSigner = false;
    bool otherVersionInside = false;
    bool offload = false;
    bool firstPoll = false;

    std::vector<Step> steps;
    std::vector<std::string_view> words;   // every status word, in order
    std::vector<std::string_view> boots{}; // versions; empty: the old one, then what the end says
    int failedDownloads = 0;
    std::string_view because{}; // in the node's own reason of each failed download, or of a refusal
    std::optional<node::TrialFailure> trialFails{};
    End end;
    std::string_view ending; // the last line, in plain words
};

// Throws an OptionError where the options name no road.
const Road &chooseRoad(const Options &options);
// What it refuses, a line each.
std::string combinations();

} // namespace desk

#endif
