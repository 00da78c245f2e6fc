// SPDX-License-Identifier: MIT
// Memory that the checking process and the one that runs the platform both see: no descriptor,
// which a platform could close.
#ifndef TOOLS_PLATFORM_CHECK_SHARED_H
#define TOOLS_PLATFORM_CHECK_SHARED_H

#include "platform/service.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>

namespace check {

enum class State : int { running, done, wrong, notLookedAt };

constexpr std::size_t kTextWidth = 2048;
using Text = std::array<char, kTextWidth>;

/* A timer's handler was called. */
struct Expiry {
    int count = 0;
    int order = 0;         // which of all expiries it was, from 1
    std::int64_t atMs = 0; // on the steady clock
    pid_t thread = 0;
};
enum Timer : std::size_t { kReboot, kDownloadStart, kDownloadRetry, kTimerCount };

struct Shared {
    State state = State::running;
    Text text{}; // what came, or why nothing was looked at
    const char *contract = nullptr;
    const char *device = nullptr;
    std::array<char, 64> call{}; // that runs; empty: none
    Text reboot{};               // how it asked for one
    Text commands{};             // that it ran
    bool counts = false;         // calls to the kernel count as points to kill at

    std::array<Expiry, kTimerCount> expiries{};
    int expired = 0;

    std::array<char, OTA_BANK_VERSION_WIDTH> offered{};
    int banksChanged = 0;
    int failures = 0;
    OtaFault lastFailure{};

    // What a step leaves for the next one.
    int answer = 0;
    std::int64_t number = 0;
    Text note{};
    std::array<char, OTA_BANK_VERSION_WIDTH> running{};
    std::array<char, OTA_BANK_VERSION_WIDTH> other{}; // empty: none
    OtaBankFacts facts{};
};

/* The one there is. */
Shared &shared();

/* Cut where it is too long. */
void keep(const std::string &text, Text &to);
std::string textIn(const Text &text);

} // namespace check

#endif
