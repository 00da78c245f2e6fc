// SPDX-License-Identifier: MIT
// Loaded first: the wall clock is ahead by the seconds that the file of OTA_CLOCK_FILE holds, read
// anew at each question. The clocks that only count on are left alone, as they are on a node.
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static time_t ahead(void) {
    const char *const path = getenv("OTA_CLOCK_FILE");
    char text[32] = "";
    const int file = path == NULL ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return 0;
    }
    const ssize_t size = read(file, text, sizeof(text) - 1);
    close(file);
    return size > 0 ? (time_t)strtoll(text, NULL, 10) : 0;
}

int clock_gettime(clockid_t clock, struct timespec *now) {
    static int (*real)(clockid_t, struct timespec *);
    if (real == NULL) {
        *(void **)&real = dlsym(RTLD_NEXT, "clock_gettime");
    }
    const int result = real(clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        now->tv_sec += ahead();
    }
    return result;
}

time_t time(time_t *result) {
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != NULL) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

int gettimeofday(struct timeval *result, void *zone) {
    struct timespec now;
    (void)zone;
    clock_gettime(CLOCK_REALTIME, &now);
    result->tv_sec = now.tv_sec;
    result->tv_usec = now.tv_nsec / 1000;
    return 0;
}
