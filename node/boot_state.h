// SPDX-License-Identifier: MIT
// Which bank runs, which one boots next, which one is on trial, and what each bank holds.
#ifndef NODE_BOOT_STATE_H
#define NODE_BOOT_STATE_H

#include "node/boot_environment.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace node {

enum class Bank { a, b };

Bank otherBank(Bank bank);
/* "a" or "b". */
const char *bankName(Bank bank);

struct BankRecord {
    bool whole = false;     // every byte is there and was read back
    std::string version;    // of the image in the bank, empty where none was ever whole
    std::uint64_t size = 0; // bytes of the image, from the bank's first byte on
    std::string sha256;     // of these bytes, 64 hexadecimal digits
};

/* Why a trial failed. */
enum class TrialFailure {
    boot,  // its attempts were used up before the bank was marked good
    health // its health command failed or ran out of time
};

/* "boot" or "health". */
const char *trialFailureName(TrialFailure failure);

struct FailedVersion {
    std::string version;
    int trials = 0;                         // that it failed, 1 to kMostTrials
    TrialFailure last = TrialFailure::boot; // how the newest of them failed
};

inline constexpr int kTrialAttempts = 3;      // where nobody said how many
inline constexpr int kMostTrials = 99;        // counted of a failed version
inline constexpr std::size_t kMaxFailed = 16; // versions; the one remembered longest goes first

struct BootState {
    Bank active = Bank::a;     // the running bank
    Bank next = Bank::a;       // the bank that was chosen to boot next
    std::optional<Bank> trial; // the bank that must still prove itself
    bool healthy = false;      // it did, and only the commit is missing
    std::array<int, 2> attemptsLeft{kTrialAttempts, kTrialAttempts};
    std::array<BankRecord, 2> banks;
    std::vector<FailedVersion> failed; // the newest last

    BankRecord &of(Bank bank) { return banks.at(static_cast<std::size_t>(bank)); }
    const BankRecord &of(Bank bank) const { return banks.at(static_cast<std::size_t>(bank)); }
    int &attemptsOf(Bank bank) { return attemptsLeft.at(static_cast<std::size_t>(bank)); }
    int attemptsOf(Bank bank) const { return attemptsLeft.at(static_cast<std::size_t>(bank)); }
    bool isOnTrial(Bank bank) const { return trial == bank; }
    void endTrial() {
        trial.reset();
        healthy = false;
    }
};

/* "bank a (VERSION)", or "bank a" where it holds none. */
std::string namedBank(const BootState &state, Bank bank);

/* The bank that boots by its record: the chosen one, or the running one where that is not fit. */
Bank bankToBoot(const BootState &state);

/* How often this version failed its trial; null where it never did. */
const FailedVersion *failedVersion(const BootState &state, std::string_view version);
void rememberFailure(BootState &state, const std::string &version, TrialFailure failure);
/* False where it was not remembered. */
bool forgetFailure(BootState &state, std::string_view version);
/* True where a version that failed so often is not taken any more; 0 as the limit refuses none. */
bool isRefused(const BootState &state, std::string_view version, int refuseAfter);

/*
 * findings may be null. A damaged copy is no failure as long as the other one is whole. Writing
 * leaves the old or the new state behind, whatever happens; after an error it is not known which.
 * What else the environment holds stays.
 */
base::Result<BootState> readBootState(const BootPlace &place, BootFindings *findings = nullptr);
base::Result<void> writeBootState(const BootPlace &place, const BootState &state);
/* Writes the first one of a node, also where none can be read. A file is replaced as a whole. */
base::Result<void> makeBootState(const BootPlace &place, const BootState &state);

} // namespace node

#endif
