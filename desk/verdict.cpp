// SPDX-License-Identifier: MIT
// Compares words, notifications and banks with what the road promises.
#include "desk/verdict.h"

#include "desk/failure.h"
#include "desk/files.h"

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

// After a power cut a word may come twice, or not at all; a failure none of them may be.
void checkNoFailure(const Witness &witness) {
    for (const std::string &word : witness.words) {
        if (word.find("FAILED") != std::string::npos) {
            throw Failure("no failure was expected; came: " + listed(witness.words));
        }
    }
}

void checkWords(const Road &road, const Witness &witness) {
    if (road.cutsAtACall) {
        return checkNoFailure(witness);
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

void checkBanks(const Road &road, const NodeFolder &node, const Image &image) {
    const Banks banks = promised(road.end);
    const nal::BootState state = node.bootState();
    const nal::Bank runs = banks.newRuns ? nal::Bank::b : nal::Bank::a;
    if (state.active != runs || nal::bankToBoot(state) != runs) {
        throw Failure(std::string("bank ") + nal::bankName(runs) +
                      " should run and boot next; bank " + nal::bankName(state.active) +
                      " runs and bank " + nal::bankName(nal::bankToBoot(state)) + " boots next");
    }
    const nal::BankRecord &record = state.of(nal::Bank::b);
    if (record.whole != banks.whole) {
        throw Failure(std::string("bank b should ") + (banks.whole ? "" : "not ") +
                      "be marked as whole");
    }
    if (!banks.whole) {
        return;
    }
    const bool same = record.size == image.size && record.version == image.version &&
                      beginsWith(node.bank(nal::Bank::b), image.path, image.size);
    if (!same) {
        throw Failure("bank b should equal the image " + image.path.string() + " byte for byte");
    }
}

} // namespace

void checkEnding(const Road &road, const Traveller &traveller, const Witness &witness,
                 const Image &image) {
    const NodeFolder &node = traveller.folder;
    checkWords(road, witness);
    checkRoot(road, traveller, witness);
    checkBanks(road, node, image);
    if (witness.handedOver != road.offload) {
        throw Failure(std::string("the image should ") + (road.offload ? "" : "not ") +
                      "have been handed over to the gateway");
    }
    if (std::filesystem::exists(node.mark())) {
        throw Failure("the activation mark " + node.mark().string() + " was left behind");
    }
}

} // namespace desk
