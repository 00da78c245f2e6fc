// SPDX-License-Identifier: MIT
// Rate and time left of a download, from what was counted when.
#ifndef CLI_TRANSFER_RATE_H
#define CLI_TRANSFER_RATE_H

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace cli {

class TransferRate {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /* Fewer bytes than before: another download, which counts from here. */
    void count(std::uint64_t bytes, Time now);
    void restart() { samples_.clear(); }

    /* Bytes per second over the last ten seconds; nothing before there is enough to tell. */
    [[nodiscard]] std::optional<std::uint64_t> bytesPerSecond() const;
    /* Nothing where the rate or the size of the whole is not known, or nothing arrives. */
    [[nodiscard]] std::optional<std::uint64_t> secondsLeft(std::uint32_t percent) const;

  private:
    struct Sample {
        std::uint64_t bytes;
        Time time;
    };
    std::deque<Sample> samples_;
};

} // namespace cli

#endif
