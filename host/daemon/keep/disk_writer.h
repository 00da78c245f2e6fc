// SPDX-License-Identifier: MIT
// The one thread that writes to the node's storage, so that the loop never waits for a disk.
#ifndef HOST_DAEMON_KEEP_DISK_WRITER_H
#define HOST_DAEMON_KEEP_DISK_WRITER_H

#include "platform/nal/file_io.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace otad {

/* All calls come from one thread, the caller's; none of them but the destructor waits for a disk.
 */
class DiskWriter {
  public:
    /* Empty: stored, and there after a power cut. Else one line that names the file. */
    using Done = std::function<void(const std::string &whatIsWrong)>;

    /* Throws std::system_error where the system has no thread or no event descriptor left. */
    DiskWriter();
    /* Finishes what is queued, then joins; completions that were not dispatched are dropped. */
    ~DiskWriter();
    DiskWriter(const DiskWriter &) = delete;
    DiskWriter &operator=(const DiskWriter &) = delete;

    /* Readable while completions wait. */
    int fd() const { return event_.get(); }

    /* Tasks are done in the order of the calls. `done` may be empty, and is called by dispatch. */

    /* Replaces the file in one step. After a failure the old file stands, unless the line says so.
     */
    void replace(std::string path, std::string text, Done done);
    /*
     * Adds the line, which has no line end, and a line end. A file that would grow over maxBytes
     * becomes path.1 before, path.1 becomes path.2 and so on; what was path.<keep> goes.
     */
    void append(std::string path, std::string line, std::uint64_t maxBytes, int keep, Done done);

    /* Runs the completions that wait. They may queue new tasks. */
    void dispatch();

  private:
    struct Task {
        std::function<std::string()> run; // what is wrong, or empty
        Done done;
    };
    struct Completion {
        Done done;
        std::string whatIsWrong;
    };

    void queue(Task task);
    void work();
    void complete(Completion completion);

    nal::UniqueFd event_;
    std::mutex mutex_; // of the three below
    std::condition_variable wake_;
    std::deque<Task> tasks_;
    std::vector<Completion> completions_;
    bool ending_ = false;
    std::thread thread_; // last: it uses all of the above
};

} // namespace otad

#endif
