// SPDX-License-Identifier: MIT
// The system calls that change a disk or sync it, and which of their arguments says what.
#ifndef DESK_POWER_CALLS_H
#define DESK_POWER_CALLS_H

#include <span>

namespace power {

enum class Act {
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

constexpr int kNone = -1; // the call has no such argument

// Each number says which argument it is, counted from 0. A path begins at its folder, or at the
// working directory where the call names no folder.
struct CallRow {
    long number;
    const char *name;
    Act act;
    int descriptor = kNone;
    int folder = kNone;
    int path = kNone;
    int toFolder = kNone;
    int toPath = kNone;
    int offset = kNone;
    int offsetAt = kNone; // address of the offset
    int length = kNone;
    int vectorAt = kNone; // address of the pieces to write, whose number is the argument behind it
    int flags = kNone;
    int flagsAt = kNone; // address of the flags
};

std::span<const CallRow> calls();
// Null where the call is none of them.
const CallRow *callOf(long number);

} // namespace power

#endif
