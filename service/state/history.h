// SPDX-License-Identifier: MIT
// What happened on the node: one JSON line an event, in memory and in a rotated file.
#ifndef SERVICE_STATE_HISTORY_H
#define SERVICE_STATE_HISTORY_H

#include "base/reason.h"
#include "service/state/disk_writer.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace service {

struct HistoryLine {
    std::uint64_t number = 0; // in the order of the events, also over restarts
    std::string event{};      // service-started, accepted, finished, ...
    std::uint64_t ticket = 0; // 0: of no request
    std::string version{};
    std::string stage{};
    base::Outcome outcome = base::Outcome::done;
    base::Reason reasonCode = base::Reason::none; // none: the one that the outcome has as a rule
    std::string reason{};                         // the sentence
    std::string next{};                           // what follows
};

/* A stage of a call that ended before the event. */
struct StageLeft {
    std::string name{}; // empty: none did
    std::int64_t lastedMs = 0;
    std::uint64_t bytes = 0; // of the image, where it was being downloaded
};

/*
 * One JSON object without a line end, keys seq, time (RFC 3339, UTC, seconds), node, event, ticket,
 * version, stage, code, result, reason_code, reason, next; behind the end of a stage also left,
 * left_ms and left_bytes. Bytes other than printable ASCII become '?', and a text ends after 512
 * bytes, with "...".
 */
std::string formatHistoryLine(const HistoryLine &line, std::time_t now, const std::string &node,
                              const StageLeft &left = {});

/*
 * Lines that others can cause without end never push out the node's own: of the newest in memory,
 * and of the newest file, they have the half that is left, each source as much of it as the others.
 */
class History {
  public:
    static constexpr std::size_t kNewest = 500;
    /* Where so many lines wait for the disk, others are not to cause more of them. */
    static constexpr std::size_t kManyWaiting = 64;
    /* Where so many do, lines stay in memory alone. */
    static constexpr std::size_t kMostWaiting = 1024;

    /*
     * path.1 to path.<keep> are its older files. `failed` gets one line where lines cannot be
     * written, and not again until one was; they stay in memory. The disk writer outlives the
     * history's last completion.
     */
    History(DiskWriter &disk, std::string path, std::uint64_t maxBytes, int keep,
            std::function<void(const std::string &)> failed = {});

    /* Reads the files, once, at start: it blocks. `each` gets every line, also those that memory
     * has no room for. Damaged ones are skipped; how many, is the result. */
    std::size_t load(const std::function<void(const std::string &line)> &each = {});

    /* The next line's number is larger, whatever the files hold. */
    void numberFrom(std::uint64_t last) { lastNumber_ = std::max(lastNumber_, last); }
    /* One more than that of the line before; each is given once. */
    std::uint64_t nextNumber() { return ++lastNumber_; }
    /* Takes a line of formatHistoryLine. */
    void add(std::string line);

    /* The disk does not keep up. */
    bool isBehind() const { return disk_.waitingLines() >= kManyWaiting; }
    /* Lines that the file lacks since the last call, because the disk did not keep up; 0 as long as
     * it does not. */
    std::uint64_t takeUnwritten();

    /* The newest `count`, the oldest of them first. */
    std::vector<std::string> newest(std::size_t count) const;

  private:
    struct Kept {
        std::string line, source;
    };

    void remember(Kept kept);
    void forgetOne();
    void written(const base::Result<void> &stored);

    DiskWriter &disk_;
    std::shared_ptr<const LineFile> file_;
    std::function<void(const std::string &)> failed_;
    bool failing_ = false;
    std::uint64_t unwritten_ = 0;
    std::list<Kept> lines_;
    std::map<std::string, std::size_t> ofOthers_; // lines in memory of each source
    std::uint64_t lastNumber_ = 0;
};

} // namespace service

#endif
