// SPDX-License-Identifier: MIT
#include "desk/power/survival.h"

namespace power {

// The generator's own bits: a distribution of the library may differ from one build to the next.
bool Survival::coin() { return (random_() >> 32 & 1) != 0; }

bool Survival::sector(bool isLastInFlight) {
    if (mode_ == CutMode::drop || seed_ == kSeedNamesOnly) {
        return false;
    }
    return seed_ == kSeedAllButLast ? !isLastInFlight : coin();
}

bool Survival::size() {
    if (mode_ == CutMode::drop || seed_ == kSeedNamesOnly) {
        return false;
    }
    return seed_ == kSeedAllButLast || coin();
}

std::size_t Survival::names(std::size_t count) {
    if (mode_ == CutMode::drop) {
        return 0;
    }
    if (seed_ == kSeedAllButLast || seed_ == kSeedNamesOnly) {
        return count;
    }
    return static_cast<std::size_t>(random_() % (count + 1));
}

} // namespace power
