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

} // namespace desk

#endif
