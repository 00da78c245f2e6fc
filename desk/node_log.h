// SPDX-License-Identifier: MIT
// What the log of a node's service tells beside the events on its bus.
#ifndef DESK_NODE_LOG_H
#define DESK_NODE_LOG_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace desk {

class NodeLog {
  public:
    explicit NodeLog(std::filesystem::path log) : log_(std::move(log)) {}

    // Why downloads failed, by the lines that were written since the last call.
    std::vector<std::string> failedDownloads();

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
