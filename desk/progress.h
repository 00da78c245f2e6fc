// SPDX-License-Identifier: MIT
// The download's progress, read from the file that the agent keeps.
#ifndef DESK_PROGRESS_H
#define DESK_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace desk {

struct Progress {
    int percent = 0;
    std::uint64_t bytesPerSecond = 0; // 0: not known yet
    std::int64_t secondsLeft = 0;
};

class ProgressFile {
  public:
    ProgressFile(std::filesystem::path path, std::uint64_t imageBytes)
        : path_(std::move(path)), imageBytes_(imageBytes) {}

    // A new download begins: the rate counts from here.
    void restart();
    // The progress where it changed since the last look.
    std::optional<Progress> look();

  private:
    using Clock = std::chrono::steady_clock;

    std::filesystem::path path_;
    std::uint64_t imageBytes_;
    int percent_ = 0;
    Clock::time_point begin_{Clock::now()};
};

} // namespace desk

#endif
