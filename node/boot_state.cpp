// SPDX-License-Identifier: MIT
#include "node/boot_state.h"

#include "base/file_io.h"
#include "node/boot_state_older.h"
#include "node/boot_state_text.h"

#include <algorithm>
#include <sstream>

namespace node {
namespace {

constexpr std::size_t kMaxCommandLine = 16 * 1024;
constexpr std::string_view kBankWord = "ota.bank=";
constexpr int kMostTrials = 99;

// The kernel knows better than the boot state which bank the boot loader took.
bool takeRunningBank(const std::string &path, Bank &active, std::string &whatIsWrong) {
    std::string text;
    if (!base::readWholeFile(path, kMaxCommandLine, text, whatIsWrong)) {
        return false;
    }
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!word.starts_with(kBankWord)) {
            continue;
        }
        const std::string_view bank = std::string_view(word).substr(kBankWord.size());
        if (bank == "a" || bank == "b") {
            active = bank == "b" ? Bank::b : Bank::a;
            return true;
        }
    }
    whatIsWrong = path + ": does not name the running bank: expected the word ota.bank=a or "
                         "ota.bank=b; let the boot loader pass it to the kernel";
    return false;
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

bool readBootState(const BootPlace &place, BootState &state, std::string &whatIsWrong,
                   BootFindings *findings) {
    BootVariables variables;
    BootState read;
    const bool isEnvironment = readBootEnvironment(place, variables, findings, whatIsWrong);
    const bool isOlder = !isEnvironment && readOlderBootState(place, read);
    if (isOlder && findings != nullptr) {
        findings->older = true;
    }
    if (!isEnvironment && !isOlder) {
        return false;
    }
    if (isEnvironment && !parseBootState(place.name(), variables, read, whatIsWrong)) {
        whatIsWrong += kWriteItAnew;
        return false;
    }
    if (!place.kernelCommandLine.empty() &&
        !takeRunningBank(place.kernelCommandLine, read.active, whatIsWrong)) {
        return false;
    }
    state = read;
    return true;
}

bool writeBootState(const BootPlace &place, const BootState &state, std::string &whatIsWrong) {
    BootState older;
    const BootVariables variables = formatBootState(state);
    // The older file gives way as a whole: up to the last moment it is what it was.
    if (readOlderBootState(place, older) ? makeBootEnvironment(place, variables, whatIsWrong)
                                         : changeBootEnvironment(place, variables, whatIsWrong)) {
        return true;
    }
    whatIsWrong += "; check the file system or device that holds the boot state";
    return false;
}

bool makeBootState(const BootPlace &place, const BootState &state, std::string &whatIsWrong) {
    return makeBootEnvironment(place, formatBootState(state), whatIsWrong);
}

} // namespace node
