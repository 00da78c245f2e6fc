// SPDX-License-Identifier: MIT
#include "desk/power/calls.h"

#include <algorithm>
#include <sys/syscall.h>

namespace power {
namespace {

constexpr CallRow kCalls[] = {
    {.number = SYS_write, .name = "write", .act = Act::write, .descriptor = 0, .length = 2},
    {.number = SYS_pwrite64,
     .name = "pwrite64",
     .act = Act::write,
     .descriptor = 0,
     .offset = 3,
     .length = 2},
    {.number = SYS_writev, .name = "writev", .act = Act::write, .descriptor = 0, .vectorAt = 1},
    {.number = SYS_pwritev,
     .name = "pwritev",
     .act = Act::write,
     .descriptor = 0,
     .offset = 3,
     .vectorAt = 1},
    {.number = SYS_pwritev2,
     .name = "pwritev2",
     .act = Act::write,
     .descriptor = 0,
     .offset = 3,
     .vectorAt = 1,
     .flags = 5},
    {.number = SYS_sendfile, .name = "sendfile", .act = Act::write, .descriptor = 0, .length = 3},
    {.number = SYS_copy_file_range,
     .name = "copy_file_range",
     .act = Act::write,
     .descriptor = 2,
     .offsetAt = 3,
     .length = 4},
    {.number = SYS_splice,
     .name = "splice",
     .act = Act::write,
     .descriptor = 2,
     .offsetAt = 3,
     .length = 4},

    {.number = SYS_fsync, .name = "fsync", .act = Act::sync, .descriptor = 0},
    {.number = SYS_fdatasync, .name = "fdatasync", .act = Act::sync, .descriptor = 0},
    {.number = SYS_sync_file_range,
     .name = "sync_file_range",
     .act = Act::syncRange,
     .descriptor = 0,
     .offset = 1,
     .length = 2},
    {.number = SYS_syncfs, .name = "syncfs", .act = Act::syncAll, .descriptor = 0},
    {.number = SYS_sync, .name = "sync", .act = Act::syncAll},

    {.number = SYS_ftruncate,
     .name = "ftruncate",
     .act = Act::resize,
     .descriptor = 0,
     .length = 1},
    {.number = SYS_truncate, .name = "truncate", .act = Act::resize, .path = 0, .length = 1},
    {.number = SYS_fallocate,
     .name = "fallocate",
     .act = Act::allocate,
     .descriptor = 0,
     .offset = 2,
     .length = 3,
     .flags = 1},

    {.number = SYS_openat, .name = "openat", .act = Act::open, .folder = 0, .path = 1, .flags = 2},
    {.number = SYS_openat2,
     .name = "openat2",
     .act = Act::open,
     .folder = 0,
     .path = 1,
     .flagsAt = 2},
    {.number = SYS_mkdirat, .name = "mkdirat", .act = Act::make, .folder = 0, .path = 1},
    {.number = SYS_mknodat, .name = "mknodat", .act = Act::make, .folder = 0, .path = 1},
    {.number = SYS_linkat, .name = "linkat", .act = Act::make, .folder = 2, .path = 3},
    {.number = SYS_symlinkat, .name = "symlinkat", .act = Act::make, .folder = 1, .path = 2},
    {.number = SYS_unlinkat, .name = "unlinkat", .act = Act::remove, .folder = 0, .path = 1},
#ifdef SYS_renameat
    {.number = SYS_renameat,
     .name = "renameat",
     .act = Act::rename,
     .folder = 0,
     .path = 1,
     .toFolder = 2,
     .toPath = 3},
#endif
    {.number = SYS_renameat2,
     .name = "renameat2",
     .act = Act::rename,
     .folder = 0,
     .path = 1,
     .toFolder = 2,
     .toPath = 3,
     .flags = 4},
// Machines of today have none of these.
#ifdef SYS_open
    {.number = SYS_open, .name = "open", .act = Act::open, .path = 0, .flags = 1},
    {.number = SYS_creat, .name = "creat", .act = Act::open, .path = 0},
    {.number = SYS_mkdir, .name = "mkdir", .act = Act::make, .path = 0},
    {.number = SYS_mknod, .name = "mknod", .act = Act::make, .path = 0},
    {.number = SYS_link, .name = "link", .act = Act::make, .path = 1},
    {.number = SYS_symlink, .name = "symlink", .act = Act::make, .path = 1},
    {.number = SYS_unlink, .name = "unlink", .act = Act::remove, .path = 0},
    {.number = SYS_rmdir, .name = "rmdir", .act = Act::remove, .path = 0},
    {.number = SYS_rename, .name = "rename", .act = Act::rename, .path = 0, .toPath = 1},
#endif
};

} // namespace

std::span<const CallRow> calls() { return kCalls; }

const CallRow *callOf(long number) {
    const auto *const row = std::find_if(std::begin(kCalls), std::end(kCalls),
                                         [&](const CallRow &one) { return one.number == number; });
    return row == std::end(kCalls) ? nullptr : row;
}

} // namespace power
