// SPDX-License-Identifier: MIT
#include "base/disk_calls.h"

#include <algorithm>
#include <sys/syscall.h>

namespace base {
namespace {

constexpr DiskCall kDiskCalls[] = {
    {.number = SYS_write, .name = "write", .act = DiskAct::write, .descriptor = 0, .length = 2},
    {.number = SYS_pwrite64,
     .name = "pwrite64",
     .act = DiskAct::write,
     .descriptor = 0,
     .offset = 3,
     .length = 2},
    {.number = SYS_writev, .name = "writev", .act = DiskAct::write, .descriptor = 0, .vectorAt = 1},
    {.number = SYS_pwritev,
     .name = "pwritev",
     .act = DiskAct::write,
     .descriptor = 0,
     .offset = 3,
     .vectorAt = 1},
    {.number = SYS_pwritev2,
     .name = "pwritev2",
     .act = DiskAct::write,
     .descriptor = 0,
     .offset = 3,
     .vectorAt = 1,
     .flags = 5},
    {.number = SYS_sendfile,
     .name = "sendfile",
     .act = DiskAct::write,
     .descriptor = 0,
     .length = 3},
    {.number = SYS_copy_file_range,
     .name = "copy_file_range",
     .act = DiskAct::write,
     .descriptor = 2,
     .offsetAt = 3,
     .length = 4},
    {.number = SYS_splice,
     .name = "splice",
     .act = DiskAct::write,
     .descriptor = 2,
     .offsetAt = 3,
     .length = 4},

    {.number = SYS_fsync, .name = "fsync", .act = DiskAct::sync, .descriptor = 0},
    {.number = SYS_fdatasync, .name = "fdatasync", .act = DiskAct::sync, .descriptor = 0},
#ifdef SYS_sync_file_range
    {.number = SYS_sync_file_range,
     .name = "sync_file_range",
     .act = DiskAct::syncRange,
     .descriptor = 0,
     .offset = 1,
     .length = 2},
#endif
    {.number = SYS_syncfs, .name = "syncfs", .act = DiskAct::syncAll, .descriptor = 0},
    {.number = SYS_sync, .name = "sync", .act = DiskAct::syncAll},

    {.number = SYS_ftruncate,
     .name = "ftruncate",
     .act = DiskAct::resize,
     .descriptor = 0,
     .length = 1},
    {.number = SYS_truncate, .name = "truncate", .act = DiskAct::resize, .path = 0, .length = 1},
// Those of 32-bit machines: of their offsets and lengths each takes two arguments.
#ifdef SYS_ftruncate64
    {.number = SYS_ftruncate64, .name = "ftruncate64", .act = DiskAct::resize, .descriptor = 0},
    {.number = SYS_truncate64, .name = "truncate64", .act = DiskAct::resize, .path = 0},
    {.number = SYS_sendfile64, .name = "sendfile64", .act = DiskAct::write, .descriptor = 0},
#endif
    {.number = SYS_fallocate,
     .name = "fallocate",
     .act = DiskAct::allocate,
     .descriptor = 0,
     .offset = 2,
     .length = 3,
     .flags = 1},

    {.number = SYS_openat,
     .name = "openat",
     .act = DiskAct::open,
     .folder = 0,
     .path = 1,
     .flags = 2},
    {.number = SYS_openat2,
     .name = "openat2",
     .act = DiskAct::open,
     .folder = 0,
     .path = 1,
     .flagsAt = 2},
    {.number = SYS_mkdirat, .name = "mkdirat", .act = DiskAct::make, .folder = 0, .path = 1},
    {.number = SYS_mknodat, .name = "mknodat", .act = DiskAct::make, .folder = 0, .path = 1},
    {.number = SYS_linkat, .name = "linkat", .act = DiskAct::make, .folder = 2, .path = 3},
    {.number = SYS_symlinkat, .name = "symlinkat", .act = DiskAct::make, .folder = 1, .path = 2},
    {.number = SYS_unlinkat, .name = "unlinkat", .act = DiskAct::remove, .folder = 0, .path = 1},
#ifdef SYS_renameat
    {.number = SYS_renameat,
     .name = "renameat",
     .act = DiskAct::rename,
     .folder = 0,
     .path = 1,
     .toFolder = 2,
     .toPath = 3},
#endif
    {.number = SYS_renameat2,
     .name = "renameat2",
     .act = DiskAct::rename,
     .folder = 0,
     .path = 1,
     .toFolder = 2,
     .toPath = 3,
     .flags = 4},
// Machines of today have none of these.
#ifdef SYS_open
    {.number = SYS_open, .name = "open", .act = DiskAct::open, .path = 0, .flags = 1},
    {.number = SYS_creat, .name = "creat", .act = DiskAct::open, .path = 0},
    {.number = SYS_mkdir, .name = "mkdir", .act = DiskAct::make, .path = 0},
    {.number = SYS_mknod, .name = "mknod", .act = DiskAct::make, .path = 0},
    {.number = SYS_link, .name = "link", .act = DiskAct::make, .path = 1},
    {.number = SYS_symlink, .name = "symlink", .act = DiskAct::make, .path = 1},
    {.number = SYS_unlink, .name = "unlink", .act = DiskAct::remove, .path = 0},
    {.number = SYS_rmdir, .name = "rmdir", .act = DiskAct::remove, .path = 0},
    {.number = SYS_rename, .name = "rename", .act = DiskAct::rename, .path = 0, .toPath = 1},
#endif
};

} // namespace

std::span<const DiskCall> diskCalls() { return kDiskCalls; }

const DiskCall *diskCallOf(long number) {
    const auto *const row = std::find_if(std::begin(kDiskCalls), std::end(kDiskCalls),
                                         [&](const DiskCall &one) { return one.number == number; });
    return row == std::end(kDiskCalls) ? nullptr : row;
}

} // namespace base
