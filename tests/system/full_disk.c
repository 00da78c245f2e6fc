// SPDX-License-Identifier: MIT
// Preloaded into a test's processes: every file system has one mebibyte free.
#include <string.h>
#include <sys/statvfs.h>

enum { kBlock = 4096, kFreeBlocks = 256 };

static int answer(struct statvfs *status) {
    memset(status, 0, sizeof *status);
    status->f_bsize = kBlock;
    status->f_frsize = kBlock;
    status->f_blocks = 4 * kFreeBlocks;
    status->f_bfree = kFreeBlocks;
    status->f_bavail = kFreeBlocks;
    return 0;
}

int statvfs(const char *restrict path, struct statvfs *restrict status) {
    (void)path;
    return answer(status);
}

/* Its large-file name, which some programs call; the structure is the same on 64 bits. */
int statvfs64(const char *restrict path, void *restrict status);
int statvfs64(const char *restrict path, void *restrict status) {
    (void)path;
    return answer(status);
}
