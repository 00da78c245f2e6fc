// SPDX-License-Identifier: MIT
// The one thread that writes to the node's storage, so that the loop never waits for a disk.
#ifndef SERVICE_STATE_DISK_WRITER_H
#define SERVICE_STATE_DISK_WRITER_H

#include "service/state/line_file.h"

#include "base/file_io.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace service {

/* All calls come from one thread, the caller's; none of them but the destructor waits for a disk.
 */
class DiskWriter {
  public:
    /* Success: stored, and there after a power cut. An error names the file. */
    using Done = std::function<void(const base::Result<void> &stored)>;

    /* Throws std::system_error where the system has no thread or no event descriptor left. */
    DiskWriter();
    /* Finishes what is queued, then joins; completions that were not dispatched are dropped. */
    ~DiskWriter();
    DiskWriter(const DiskWriter &) = delete;
    DiskWriter &operator=(const DiskWriter &) = delete;

    /* Readable while completions wait. */
    int fd() const { return event_.get(); }

    /* `done` may be empty, and is called by dispatch. */

    /*
     * Replaces the file in one step. After a failure the old file stands, unless the line says so.
     * A text that still waits when the next one for its file comes is not written any more: its
     * `done` hears of that one. Texts overtake the lines that may be overtaken.
     */
    void replace(std::string path, std::string text, Done done);

    enum class Overtaking { allowed, forbidden };
    /*
     * Adds the line, which has no line end, to the file. Lines keep their order; those that wait
     * are written and synced together. Where overtaking is forbidden, this line and all before it
     * are stored before any text of a later replace().
     */
    void append(std::shared_ptr<const LineFile> file, std::string line, Overtaking overtaking,
                Done done);

    std::size_t waitingLines() const;

    /* Runs the completions that wait. They may queue new tasks. */
    void dispatch();

  private:
    struct Text {
        std::string path, text;
        std::vector<Done> dones;
        std::uint64_t behind; // so many lines are stored before it
    };
    struct Line {
        std::shared_ptr<const LineFile> file;
        std::string text;
        Done done;
    };
    struct Completion {
        Done done;
        base::Result<void> stored;
    };

    void work();
    void writeText(std::unique_lock<std::mutex> &lock);
    void writeLines(std::unique_lock<std::mutex> &lock);
    void complete(const std::vector<Completion> &completions);

    base::UniqueFd event_;
    mutable std::mutex mutex_; // of all below but the thread
    std::condition_variable wake_;
    std::list<Text> texts_;
    std::list<Line> lines_;
    std::uint64_t linesQueued_ = 0, linesDone_ = 0;
    std::uint64_t notOvertaken_ = 0; // so many lines come before the next text
    std::vector<Completion> completions_;
    bool ending_ = false;
    std::thread thread_; // last: it uses all of the above
};

} // namespace service

#endif
