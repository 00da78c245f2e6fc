// SPDX-License-Identifier: MIT
// What happened on the node: one JSON line an event, in memory and in a rotated file.
#ifndef HOST_DAEMON_KEEP_HISTORY_H
#define HOST_DAEMON_KEEP_HISTORY_H

#include "host/daemon/keep/disk_writer.h"
#include "host/outcome.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <functional>
#include <string>
#include <vector>

namespace otad {

struct HistoryLine {
    std::string event;        // service-started, accepted, finished, ...
    std::uint64_t ticket = 0; // 0: of no request
    std::string version;
    std::string stage;
    host::Outcome outcome = host::Outcome::done;
    std::string reason;
    std::string next; // what follows
};

/*
 * One JSON object without a line end, keys time (RFC 3339, UTC, seconds), node, event, ticket,
 * version, stage, code, result, reason, next. Bytes other than printable ASCII become '?'.
 */
std::string formatHistoryLine(const HistoryLine &line, std::time_t now, const std::string &node);

class History {
  public:
    static constexpr std::size_t kNewest = 500;

    /*
     * path.1 to path.<keep> are its older files. `failed` gets one line for each line that could
     * not be written; it stays in memory. The disk writer outlives the history's last completion.
     */
    History(DiskWriter &disk, std::string path, std::uint64_t maxBytes, int keep,
            std::function<void(const std::string &)> failed = {});

    /* Reads the files, once, at start: it blocks. Damaged lines are skipped; how many, is the
     * result. */
    std::size_t load();

    /* Takes a line of formatHistoryLine. */
    void add(std::string line);

    /* The newest `count`, the oldest of them first. */
    std::vector<std::string> newest(std::size_t count) const;

  private:
    void remember(std::string line);

    DiskWriter &disk_;
    std::string path_;
    std::uint64_t maxBytes_;
    int keep_;
    std::function<void(const std::string &)> failed_;
    std::deque<std::string> lines_;
};

} // namespace otad

#endif
