// SPDX-License-Identifier: MIT
#include "node/boot_state.h"

#include "base/file_io.h"
#include "base/split.h"
#include "node/boot_state_text.h"

#include <algorithm>

namespace node {
namespace {

constexpr std::size_t kMaxCommandLine = 16 * 1024;
constexpr std::string_view kBankWord = "ota.bank=";

// The kernel knows better than the boot state which bank the boot loader took.
base::Result<Bank> runningBank(const std::string &path) {
    const auto text = base::readWholeFile(path, kMaxCommandLine);
    if (!text) {
        return text.error();
    }
    for (const std::string &word : base::wordsOf(*text)) {
        if (!word.starts_with(kBankWord)) {
            continue;
        }
        const std::string_view bank = std::string_view(word).substr(kBankWord.size());
        if (bank == "a" || bank == "b") {
            return bank == "b" ? Bank::b : Bank::a;
        }
    }
    return base::Error{path + ": does not name the running bank: expected the word ota.bank=a or "
                              "ota.bank=b; let the boot loader pass it to the kernel"};
}

auto findFailed(const std::vector<FailedVersion> &failed, std::string_view version) {
    return std::find_if(failed.begin(), failed.end(),
                        [&](const FailedVersion &one) { return one.version == version; });
}

} // namespace

Bank otherBank(Bank bank) { return bank == Bank::a ? Bank::b : Bank::a; }

const char *bankName(Bank bank) { return bank == Bank::a ? "a" : "b"; }

std::string namedBank(const BootState &state, Bank bank) {
    const std::string &version = state.of(bank).version;
    return std::string("bank ") + bankName(bank) + (version.empty() ? "" : " (" + version + ")");
}

const char *trialFailureName(TrialFailure failure) {
    return failure == TrialFailure::health ? "health" : "boot";
}

Bank bankToBoot(const BootState &state) {
    const Bank next = state.next;
    const bool usedUp = state.isOnTrial(next) && state.attemptsOf(next) == 0;
    if (state.of(next).whole && !usedUp) {
        return next;
    }
    const Bank other = state.active != next ? state.active : otherBank(next);
    return usedUp && !state.of(other).whole ? next : other; // attempts are to fall back from
}

const FailedVersion *failedVersion(const BootState &state, std::string_view version) {
    const auto found = findFailed(state.failed, version);
    return found == state.failed.end() ? nullptr : &*found;
}

void rememberFailure(BootState &state, const std::string &version, TrialFailure failure) {
    FailedVersion one{version, 1, failure};
    const auto found = findFailed(state.failed, version);
    if (found != state.failed.end()) {
        one.trials = std::min(found->trials + 1, kMostTrials);
        state.failed.erase(found);
    } else if (state.failed.size() == kMaxFailed) {
        state.failed.erase(state.failed.begin());
    }
    state.failed.push_back(one);
}

bool forgetFailure(BootState &state, std::string_view version) {
    const auto found = findFailed(state.failed, version);
    if (found == state.failed.end()) {
        return false;
    }
    state.failed.erase(found);
    return true;
}

bool isRefused(const BootState &state, std::string_view version, int refuseAfter) {
    const FailedVersion *const failed = failedVersion(state, version);
    return failed != nullptr && refuseAfter > 0 && failed->trials >= refuseAfter;
}

base::Result<BootState> readBootState(const BootPlace &place, BootFindings *findings) {
    base::Result<BootState> state = BootState();
    const auto variables = readBootEnvironment(place, findings);
    if (variables) {
        state = parseBootState(place.name(), *variables);
        if (!state) {
            return state.error().within("", kWriteItAnew);
        }
    } else if (!readOlderBootState(place, *state)) {
        return variables.error();
    } else if (findings != nullptr) {
        findings->older = true;
    }
    if (!place.kernelCommandLine.empty()) {
        const auto running = runningBank(place.kernelCommandLine);
        if (!running) {
            return running.error();
        }
        state->active = *running;
    }
    return state;
}

base::Result<void> writeBootState(const BootPlace &place, const BootState &state) {
    BootState older;
    const BootVariables variables = formatBootState(state);
    // The older file gives way as a whole: up to the last moment it is what it was.
    auto written = readOlderBootState(place, older) ? makeBootEnvironment(place, variables)
                                                    : changeBootEnvironment(place, variables);
    if (!written) {
        return written.error().within(
            "", "; check the file system or device that holds the boot state");
    }
    return written;
}

base::Result<void> makeBootState(const BootPlace &place, const BootState &state) {
    return makeBootEnvironment(place, formatBootState(state));
}

} // namespace node
