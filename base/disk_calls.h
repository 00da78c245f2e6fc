// SPDX-License-Identifier: MIT
// The system calls that change a disk or sync it, and which of their arguments says what.
#ifndef BASE_DISK_CALLS_H
#define BASE_DISK_CALLS_H

#include <span>

namespace base {

enum class DiskAct {
    write,
    sync,      // one file or folder
    syncRange, // starts writing back, which promises nothing
    syncAll,
    resize,
    allocate,
    open, // where it creates or truncates
    make, // a name: of a folder, a link, a device
    remove,
    rename
};

constexpr int kNoArgument = -1; // the call has no such argument

// Each number says which argument it is, counted from 0. A path begins at its folder, or at the
// working directory where the call names no folder.
struct DiskCall {
    long number;
    const char *name;
    DiskAct act;
    int descriptor = kNoArgument;
    int folder = kNoArgument;
    int path = kNoArgument;
    int toFolder = kNoArgument;
    int toPath = kNoArgument;
    int offset = kNoArgument;
    int offsetAt = kNoArgument; // address of the offset
    int length = kNoArgument;
    int vectorAt =
        kNoArgument; // address of the pieces to write, whose number is the argument behind it
    int flags = kNoArgument;
    int flagsAt = kNoArgument; // address of the flags
};

std::span<const DiskCall> diskCalls();
// Null where the call is none of them.
const DiskCall *diskCallOf(long number);

} // namespace base

#endif
