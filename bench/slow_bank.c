// SPDX-License-Identifier: MIT
// Preloaded into everything that writes the bank OTA_BENCH_BANK: it takes no more than
// OTA_BENCH_BANK_SPEED bytes a second. These are the calls by which the commands of the bench
// write.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static double free_at; // when the device is done with what it was given

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

static int is_the_bank(int file) {
    const char *const bank = getenv("OTA_BENCH_BANK");
    struct stat one;
    struct stat other;
    return bank != NULL && fstat(file, &one) == 0 && S_ISREG(one.st_mode) &&
           stat(bank, &other) == 0 && one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

static ssize_t slowed(int file, double began, ssize_t written) {
    const char *const speed = getenv("OTA_BENCH_BANK_SPEED");
    if (written <= 0 || speed == NULL || !is_the_bank(file)) {
        return written;
    }
    pthread_mutex_lock(&lock);
    free_at = (free_at > began ? free_at : began) + (double)written / atof(speed);
    const double left = free_at - now();
    pthread_mutex_unlock(&lock);
    if (left > 0) {
        const struct timespec pause = {(time_t)left, (long)((left - (double)(time_t)left) * 1e9)};
        nanosleep(&pause, NULL);
    }
    return written;
}

// The C library's own of this name.
#define NEXT(name) (__extension__(__typeof__(&(name))) dlsym(RTLD_NEXT, #name))

ssize_t write(int file, const void *bytes, size_t size) {
    const double began = now();
    return slowed(file, began, NEXT(write)(file, bytes, size));
}

ssize_t splice(int from, off64_t *at, int file, off64_t *to, size_t size, unsigned int flags) {
    const double began = now();
    return slowed(file, began, NEXT(splice)(from, at, file, to, size, flags));
}
