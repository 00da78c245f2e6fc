// SPDX-License-Identifier: MIT
// What of the un-synced things outlives a power cut: nothing, or a part that a seed decides.
#ifndef DESK_POWER_SURVIVAL_H
#define DESK_POWER_SURVIVAL_H

#include <cstddef>
#include <cstdint>
#include <random>

namespace power {

enum class CutMode {
    drop, // nothing that was not synced
    tear  // part of it, sector by sector
};

// Seeds of a tear that are not random.
constexpr std::uint64_t kSeedAllButLast = 0; // all but the last sector of the write in flight
constexpr std::uint64_t kSeedNamesOnly = 1;  // every name, and no byte

// Asked once for each thing, in a fixed order: the same seed gives the same disk.
class Survival {
  public:
    Survival(CutMode mode, std::uint64_t seed) : mode_(mode), seed_(seed), random_(seed) {}

    bool sector(bool isLastInFlight);
    bool size();
    // How many changes of names survive, the oldest first.
    std::size_t names(std::size_t count);

  private:
    bool coin();

    CutMode mode_;
    std::uint64_t seed_;
    std::mt19937_64 random_;
};

} // namespace power

#endif
