// SPDX-License-Identifier: MIT
// The banks as the host tells them to its supervisor: only the platform opens the boot state.
#ifndef BASE_BANK_NOTE_H
#define BASE_BANK_NOTE_H

#include "base/json.h"
#include "platform/service.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace base {

inline constexpr std::int32_t kMostCounted = 99; // attempts of a bank, failures of a version

/* Why the supervisor knows of no banks, or what it knows of them. */
struct BankNews {
    bool hasTrial = true; // false: the platform tells nothing but the two versions
    OtaBankFacts facts{};
};

/* "a" or "b". */
const char *bankName(int bank);
int otherBank(int bank);
/* "bank a (VERSION)", or "bank a" where it holds none. */
std::string namedBank(const OtaBankFacts &facts, int bank);
/* "boot" or "health". */
const char *failureName(int failure);
/* How often this version failed its trial; null where it never did. */
const OtaFailedVersion *failedVersion(const OtaBankFacts &facts, std::string_view version);

/* The note "banks" with what the platform says, or with why it cannot tell. */
Json bankNote(const Result<BankNews> &news);

/* Error: the host's own line, or that its note is none. */
Result<BankNews> takeBankNote(const cJSON *note);

} // namespace base

#endif
