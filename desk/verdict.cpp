// SPDX-License-Identifier: MIT
// Compares words, boots, reasons and banks with what the road promises.
#include "desk/verdict.h"

#include "desk/failure.h"
#include "desk/files.h"

#include "otaSwAgent/status_words.h"

#include <algorithm>

namespace desk {
namespace {

template <typename Words>
std::string listed(const Words &words) {
    std::string text;
    for (const auto &word : words) {
        text += (text.empty() ? "" : ", ") + std::string(word);
    }
    return text.empty() ? "none" : text;
}

template <typename Values, typename Value>
bool contains(const Values &values, const Value &value) {
    return std::find(values.begin(), values.end(), value) != values.end();
}

// After a power cut a word may come twice; a failure none of them may be, and a commit one must.
void checkWordsAfterACut(const Witness &witness) {
    for (const std::string &word : witness.words) {
        if (word.find("FAILED") != std::string::npos) {
            throw Failure("no failure was expected; came: " + listed(witness.words));
        }
    }
    if (!contains(witness.words, OTA_STATUS_COMMIT_COMPLETE)) {
        throw Failure("no commit was reported; came: " + listed(witness.words));
    }
}

void checkWords(const Road &road, const Witness &witness) {
    if (road.cutsAtACall) {
        return checkWordsAfterACut(witness);
    }
    if (!std::equal(road.words.begin(), road.words.end(), witness.words.begin(),
                    witness.words.end())) {
        throw Failure("status words expected: " + listed(road.words) +
                      "; came: " + listed(witness.words));
    }
}

void checkRoot(const Road &road, const Traveller &traveller, const Witness &witness) {
    const std::vector<std::string_view> expected =
        traveller.gateway() ? std::vector<std::string_view>{} : road.words;
    if (!std::equal(expected.begin(), expected.end(), witness.atTheRoot.begin(),
                    witness.atTheRoot.end())) {
        throw Failure("words on the gateway's bus expected: " + listed(expected) +
                      "; came: " + listed(witness.atTheRoot));
    }
}

// A cut that did not happen, and a request that was not taken up, show nothing.
void checkPower(const Road &road, const Witness &witness) {
    const bool crawls = contains(road.steps, Step::offerThenCut);
    if (road.cutsAtACall && !witness.powerCut) {
        throw Failure("the power was not cut: the node changed its storage only " +
                      std::to_string(witness.changes) + " times; name one of these");
    }
    if (crawls && !(witness.powerCut && witness.takenUp)) {
        throw Failure(std::string("the node should have lost its power in the download and taken "
                                  "it up again; it ") +
                      (witness.powerCut ? "took nothing up" : "did not lose it"));
    }
    if (witness.powerCut && !road.cutsAtACall && !crawls) {
        throw Failure("the power should not have been cut");
    }
}

void checkBoots(const Road &road, const Witness &witness) {
    std::vector<std::string_view> expected = road.boots;
    if (expected.empty()) {
        expected = {kOldVersion};
        if (road.end == End::committed || road.end == End::switched) {
            expected.emplace_back(kNewVersion);
        }
    }
    if (!road.cutsAtACall &&
        !std::equal(expected.begin(), expected.end(), witness.boots.begin(), witness.boots.end())) {
        throw Failure("boots expected: " + listed(expected) + "; came: " + listed(witness.boots));
    }
}

// What goes wrong must go wrong for the reason that was made for it.
void checkReasons(const Road &road, const Witness &witness) {
    if (witness.failedDownloads.size() != static_cast<std::size_t>(road.failedDownloads)) {
        throw Failure("downloads that fail expected: " + std::to_string(road.failedDownloads) +
                      "; came: " + listed(witness.failedDownloads));
    }
    std::vector<std::string> reasons = witness.failedDownloads;
    if (road.failedDownloads == 0 && !(road.because.empty() && witness.refusal.empty())) {
        reasons.push_back(witness.refusal);
    }
    for (const std::string &reason : reasons) {
        if (road.because.empty() || reason.find(road.because) == std::string::npos) {
            throw Failure("the node's reason should say \"" + std::string(road.because) +
                          "\", not \"" + reason + "\"");
        }
    }
}

// The new version's trial failed in the way that was made for it, or no trial failed.
void checkTrial(const Road &road, const node::BootState &state) {
    if (state.trial) {
        throw Failure(std::string("bank ") + node::bankName(*state.trial) + " is still on trial");
    }
    const node::FailedVersion *const failed = node::failedVersion(state, kNewVersion);
    const auto how = failed == nullptr ? std::nullopt : std::optional(failed->last);
    const auto name = [](std::optional<node::TrialFailure> failure) {
        return failure ? node::trialFailureName(*failure) : "none";
    };
    if (how != road.trialFails) {
        throw Failure(std::string("failed trial expected: ") + name(road.trialFails) +
                      "; came: " + name(how));
    }
}

// Whether the new version is to run, and whether its bank is to hold the image whole.
struct Banks {
    bool newRuns;
    bool whole;
};

Banks promised(End end) {
    switch (end) {
    case End::committed:
    case End::switched:
        return {true, true};
    case End::written:
    case End::untouched:
        return {false, true};
    case End::notWhole:
        return {false, false};
    }
    return {};
}

void checkContent(const node::BootState &state, node::Bank bank, const NodeFolder &node,
                  const Image &image) {
    const node::BankRecord &record = state.of(bank);
    const bool same = record.whole && record.size == image.size &&
                      record.version == image.version &&
                      beginsWith(node.bank(bank), image.path, image.size);
    if (!same) {
        throw Failure(std::string("bank ") + node::bankName(bank) + " should equal the image " +
                      image.path.string() + " byte for byte");
    }
}

void checkBanks(const Road &road, const NodeFolder &node, const Images &images) {
    const Banks banks = promised(road.end);
    const node::BootState state = node.bootState();
    checkTrial(road, state);
    const node::Bank runs = banks.newRuns ? node::Bank::b : node::Bank::a;
    if (state.active != runs || node::bankToBoot(state) != runs) {
        throw Failure(std::string("bank ") + node::bankName(runs) +
                      " should run and boot next; bank " + node::bankName(state.active) +
                      " runs and bank " + node::bankName(node::bankToBoot(state)) + " boots next");
    }
    if (state.of(node::Bank::b).whole != banks.whole) {
        throw Failure(std::string("bank b should ") + (banks.whole ? "" : "not ") +
                      "be marked as whole");
    }
    // Whatever happens, the bank that ran at the beginning stays as it was.
    checkContent(state, node::Bank::a, node, images.factory);
    if (banks.whole) {
        checkContent(state, node::Bank::b, node,
                     road.end == End::untouched ? images.factory : images.offered);
    }
}

} // namespace

void checkEnding(const Road &road, const Traveller &traveller, const Witness &witness,
                 const Images &images) {
    const NodeFolder &node = traveller.folder;
    checkPower(road, witness);
    checkWords(road, witness);
    checkRoot(road, traveller, witness);
    checkBoots(road, witness);
    checkReasons(road, witness);
    if (witness.early) {
        throw Failure("the node activated before the time that was set");
    }
    checkBanks(road, node, images);
    if (witness.handedOver != road.offload) {
        throw Failure(std::string("the image should ") + (road.offload ? "" : "not ") +
                      "have been handed over to the gateway");
    }
    if (std::filesystem::exists(node.mark())) {
        throw Failure("the activation mark " + node.mark().string() + " was left behind");
    }
}

} // namespace desk
