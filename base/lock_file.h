// SPDX-License-Identifier: MIT
// A lock between processes of one user, by a file that nobody else can open.
#ifndef BASE_LOCK_FILE_H
#define BASE_LOCK_FILE_H

#include "base/file_io.h"

#include <chrono>
#include <string>

namespace base {

/*
 * Held from a taking that succeeded until the object's end. The file is a regular one of this
 * process's user with mode 0600: what stands there otherwise is replaced, since whoever may open a
 * file may lock it for ever. Where an older one of ours could be opened by others, its lock is
 * waited for as well, unless only processes of other users hold it; where it was left by one that
 * ended, nobody can say whose it is, and after the patience it counts no more.
 */
class LockFile {
  public:
    Result<void> take(const std::string &path, std::chrono::milliseconds patience);

    enum class Obstacle {
        none,
        holder,  // another process until the time was over
        noPlace, // its directory is missing or full, or others own it and what stands there
        other    // there can be no such file
    };
    /* What the last taking met. */
    Obstacle obstacle() const { return obstacle_; }

    void release() { file_.reset(); }
    /* -1: it is not held. */
    int descriptor() const { return file_.get(); }

    explicit operator bool() const { return static_cast<bool>(file_); }

  private:
    Error fail(const std::string &what);

    Obstacle obstacle_ = Obstacle::none;
    UniqueFd file_;
    UniqueFd older_; // that others could open; whoever of ours waits for it waits on
};

} // namespace base

#endif
