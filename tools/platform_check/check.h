// SPDX-License-Identifier: MIT
// One check: a row of a table.
#ifndef TOOLS_PLATFORM_CHECK_CHECK_H
#define TOOLS_PLATFORM_CHECK_CHECK_H

#include <span>
#include <string>
#include <vector>

namespace check {

class Ground;

/* What a check takes beside the sixteen calls; without it there is nothing to look at. */
enum Takes : unsigned {
    kNothing = 0,
    kWrites = 1U << 0U, // --destructive
    kTable = 1U << 1U,
    kTrials = 1U << 2U, // the table's six members
    kTimers = 1U << 3U,
    kBus = 1U << 4U,
    kRoot = 1U << 5U,
    kGateway = 1U << 6U,
    kBanks = 1U << 7U,    // --bank-a and --bank-b
    kCapacity = 1U << 8U, // of a bank
    kBoot = 1U << 9U,     // --boot
    kEarly = 1U << 10U    // before the platform opened itself
};

struct Check {
    const char *name; // GROUP.WHAT; it never changes
    unsigned takes;
    void (*look)(Ground &ground); // throws Wrong or NotLookedAt; else all is right
    const char *asked;
    const char *contract;
    const char *device; // what a wrong answer does to a node
    /* A check or a group each: all of it that comes before must be right. */
    const char *needs = nullptr;
    const char *alsoNeeds = nullptr;
};

/* What came instead. Where they are not null, contract and device take the place of the check's. */
struct Wrong {
    std::string came;
    const char *contract = nullptr;
    const char *device = nullptr;
};
struct NotLookedAt {
    std::string why;
};

/* Every check there is, in the order in which they are made. */
std::vector<const Check *> allChecks();

std::span<const Check> loadChecks();
std::span<const Check> directoryChecks();
std::span<const Check> identityChecks();
std::span<const Check> loggerChecks();
std::span<const Check> tableChecks();
std::span<const Check> processChecks();
std::span<const Check> leakChecks();
std::span<const Check> hostCallChecks();
std::span<const Check> timerChecks();
std::span<const Check> writeChecks();
std::span<const Check> activationChecks();
std::span<const Check> trialChecks();
std::span<const Check> killChecks();

} // namespace check

#endif
