// SPDX-License-Identifier: MIT
// What the log of a node's service tells beside the events on its bus.
#ifndef DESK_NODE_LOG_H
#define DESK_NODE_LOG_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace desk {

// What a line of the log tells.
struct LogNews {
    enum class Kind {
        failedDownload, // an attempt, and why
        gaveUp,         // no attempt follows
        calculated,     // the MD5 sum of what came
        refusal,        // why the passive bank was not written or not activated
        passedTimer,    // that the desk lets pass at once, and how long it is
    };
    Kind kind;
    std::string text;
    bool operator==(const LogNews &) const = default;
};

class NodeLog {
  public:
    explicit NodeLog(std::filesystem::path log) : log_(std::move(log)) {}

    // By the lines that were written since the last call.
    std::vector<LogNews> news();

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
