// SPDX-License-Identifier: MIT
// Finds in the host's log the steps that no signal tells.
#ifndef DESK_LOG_STORY_H
#define DESK_LOG_STORY_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace desk {

struct Tale {
    std::string step;
    std::string text;
};

class LogStory {
  public:
    explicit LogStory(std::filesystem::path log) : log_(std::move(log)) {}

    // What the lines tell that were written since the last call.
    std::vector<Tale> news();

  private:
    std::filesystem::path log_;
    std::uint64_t read_ = 0;
};

// The last line of a log, shortened where it is long; empty where there is none.
std::string lastLine(const std::filesystem::path &log);
// The last line that tells of an error.
std::string lastErrorLine(const std::filesystem::path &log);

} // namespace desk

#endif
