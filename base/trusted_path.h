// SPDX-License-Identifier: MIT
// Whether nobody but root and this process's user decides what lies at a path.
#ifndef BASE_TRUSTED_PATH_H
#define BASE_TRUSTED_PATH_H

#include <optional>
#include <string>
#include <sys/types.h>

namespace base {

inline constexpr uid_t kRoot = 0;
inline constexpr int kMaxLinks = 40; // that are followed on one path, as the kernel does

/* What is told of a file, directory or link by itself; of a link, not of what it leads to. */
struct PathFacts {
    uid_t owner = 0;
    gid_t group = 0;
    mode_t mode = 0; // with the type
};

/* Where in the path it stands. */
enum class PathPlace {
    above,  // a directory that the path leads through
    around, // a directory in which a file is replaced, and what belongs to it is made
    itself, // what the path names
    socket  // what the path names, to be a socket: others may connect, which takes the right to
            // write
};

/* Whom a path may belong to, beside root, and which groups are as good as that. */
struct PathOwners {
    uid_t user = 0;
    std::optional<gid_t> usersOwnGroup; // nobody but this user is in it
    std::optional<gid_t> diskGroup;     // its members read and write every disk of the machine
};

/* The rule by itself: null, or what is wrong and what to do about it. */
const char *flawOf(const PathFacts &facts, PathPlace place, const PathOwners &owners);

/*
 * Follows the path from the root directory on, links too, and judges every directory, link and file
 * that it leads through; of one that does not exist, the directories that are there. Blocks on
 * nothing. Empty where nobody but root and this process's effective user decides what lies there;
 * else one line with the path of what is wrong, its owner, its mode and what to do.
 */
std::string whyNotTrusted(const std::string &path);

/*
 * The same of a file that is locked and replaced by names beside its own: nobody else may make
 * anything in its directory either, nor in that of the file that a link leads to.
 */
std::string whyNoTrustedFile(const std::string &path);

/* The same of the directories alone that a path leads through. */
std::string whyNotTrustedAbove(const std::string &path);

/* The same of a private key, which nobody else may read either. */
std::string whyNoPrivateKey(const std::string &path);

/* The same of a socket. One that is missing, or is no socket, cannot be trusted either. */
std::string whyNoTrustedSocket(const std::string &path);

} // namespace base

#endif
