// SPDX-License-Identifier: MIT
// The lock that libubootenv takes by itself is one that it is given.
#ifndef NODE_LIBRARY_LOCK_H
#define NODE_LIBRARY_LOCK_H

namespace node {

/* libubootenv's lock file, which the boot loader's own tools lock as well. */
inline constexpr const char *kLibraryLock = "/var/lock/fw_printenv.lock";

/*
 * libubootenv opens its lock file by name, in a directory where everybody may put links and pipes:
 * it follows and empties what stands there, and waits for the lock without an end. While one of
 * these lives, that opening yields in this thread a second descriptor of the one that is given
 * here, whose lock is held already, and touches no file.
 */
class LibraryLock {
  public:
    /* -1: there is none; the library then goes on without a lock. */
    explicit LibraryLock(int held);
    ~LibraryLock();
    LibraryLock(const LibraryLock &) = delete;
    LibraryLock &operator=(const LibraryLock &) = delete;
};

} // namespace node

#endif
