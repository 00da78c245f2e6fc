// SPDX-License-Identifier: MIT
// Requests, ledgers and facts as the tests of what is kept need them.
#ifndef TESTS_SERVICE_STATE_KEPT_REQUESTS_H
#define TESTS_SERVICE_STATE_KEPT_REQUESTS_H

#include "service/state/ledger.h"
#include "service/state/resume.h"

#include <cstdint>
#include <map>
#include <string>

constexpr const char *kOld = "4QZ-1.0.0";
constexpr const char *kNew = "4QZ-2.0.0";
constexpr const char *kOtherImage = "4QZ-3.0.0";

constexpr std::int64_t kArmedAt = 1'700'000'000; // wall clock, seconds
constexpr std::int64_t kBootNow = 500'000;       // milliseconds since boot

service::Request offer(std::uint64_t ticket, int policy, const std::string &version = kNew);
service::Request trigger(std::uint64_t ticket);
service::Request activationTime(std::uint64_t ticket);
service::Request expiryOf(const std::string &timer);
/* Armed at kArmedAt for so many seconds, in the boot that is now kBootNow old, 100 s ago. */
service::ArmedTimer armed(const std::string &timer, int seconds);

/* The agent's memory: everything empty or as it starts, but for these numbers. */
std::string memoryWith(const std::map<std::string, int> &numbers = {},
                       const std::string &actTime = "", const std::string &rebootTime = "");
int numberIn(const std::string &memory, const std::string &key);
std::string activationTimeIn(const std::string &memory);

/* Nothing is kept, "boot-1" was the last boot. */
service::Ledger emptyLedger();
/* Boot "boot-1" from bank a with the old version, 100 s after kArmedAt. */
service::BootFacts sameBoot();
/* The same node after another boot from the same bank. */
service::BootFacts otherBoot();
/* After a boot into bank b. */
service::BootFacts bootedTheOther(const std::string &version = kNew);

#endif
