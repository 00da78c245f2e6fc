// SPDX-License-Identifier: MIT
// otactl banks: what the two banks hold, which of them is on trial, and which versions failed.
#include "base/display.h"
#include "base/failure.h"
#include "base/json_record.h"
#include "base/text.h"
#include "cli/bus_client.h"
#include "cli/verbs.h"

#include <algorithm>
#include <cstdio>

namespace cli {
namespace {

// A service of an older version tells nothing of trials.
BankTrial trialOf(const Node &node, const Bank &bank) {
    const auto found =
        std::find_if(node.bankTrials.begin(), node.bankTrials.end(),
                     [&](const BankTrial &trial) { return trial.bank == bank.name; });
    return found == node.bankTrials.end() ? BankTrial{} : *found;
}

std::string stateOf(const Bank &bank, const BankTrial &trial) {
    if (trial.trial) {
        return "on trial, " + std::to_string(trial.attempts) +
               (trial.attempts == 1 ? " attempt left" : " attempts left");
    }
    if (trial.failedTrials > 0) {
        return "failed its trial: " + trial.lastFailure;
    }
    if (!bank.whole) {
        return "-";
    }
    return bank.running ? "good" : "written";
}

void printBanksAsJson(const Node &node) {
    base::Json list = base::newList();
    for (const Bank &bank : node.banks) {
        base::Json object = base::asJson(bank);
        const BankTrial trial = trialOf(node, bank);
        base::eachField<BankTrial>([&](const auto &field) {
            if (base::itemOf(object.get(), field.key) == nullptr) { // both name the bank
                base::add(object.get(), field.key, trial.*field.member);
            }
        });
        base::append(list.get(), std::move(object));
    }
    const base::Json object = base::newObject();
    base::add(object.get(), "banks", std::move(list));
    base::add(object.get(), "failed_versions", node.failedVersions);
    base::printJson(object.get());
}

void printBanks(const Node &node) {
    std::vector<std::vector<std::string>> rows = {
        {"BANK", "VERSION", "IMAGE", "RUNNING", "BOOTS NEXT", "STATE"}};
    for (const Bank &bank : node.banks) {
        rows.push_back({bank.name, bank.version.empty() ? "-" : bank.version,
                        bank.whole ? "whole" : "not whole", bank.running ? "yes" : "no",
                        bank.next ? "yes" : "no", stateOf(bank, trialOf(node, bank))});
    }
    base::printTable(rows);
    for (const FailedVersion &failed : node.failedVersions) {
        const std::string version = base::printable(failed.version);
        std::printf(
            "%s failed its trial %s, last: %s; %s\n", version.c_str(),
            failed.trials == 1 ? "once" : (std::to_string(failed.trials) + " times").c_str(),
            base::printable(failed.reason).c_str(),
            failed.refused ? ("offers of it are refused until otactl forget " + version).c_str()
                           : "it may be offered again");
    }
}

void requireBanks(const Node &node) {
    if (node.banks.empty()) {
        throw base::Failure(base::Outcome::notReady,
                            "the banks are not known: " +
                                (node.waitReason.empty()
                                     ? "the agent has not read the boot state yet"
                                     : node.waitReason + " (" + node.waitReasonCode + ")"));
    }
}

} // namespace

base::Command banksVerb(const Globals &globals) {
    return {.name = "banks",
            .summary = "Show what the two banks hold, and which versions failed",
            .run = [&globals] {
                const Node node = BusClient(globals.bus).readNode();
                requireBanks(node);
                if (globals.json) {
                    printBanksAsJson(node);
                } else {
                    printBanks(node);
                }
                return 0;
            }};
}

} // namespace cli
