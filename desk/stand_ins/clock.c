// SPDX-License-Identifier: MIT
// Loaded first into the processes of a node of the lab: its clocks stand where the lab puts them,
// and run as fast as it says. The wall clock and the clock of the time since boot move; the one
// that only measures does not. Timers that are armed ring when the moved clock says so.
//
// Nothing of what ships knows of this: only who starts a process can have it loaded.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

#define NANO INT64_C(1000000000)
#define MOST_FILES 1024
#define GLANCE_MS 100 // how late a clock that moved is noticed

// As the lab writes it; both numbers are the same where it is whole.
struct position {
    int64_t number;
    int64_t wall_ahead; // nanoseconds
    int64_t boot_ahead;
    int64_t since; // on the real clock of the time since boot: from here on it runs faster
    int64_t speed; // times as fast; 1: as it is
    int64_t same_number;
};

struct armed {
    int flags;
    int is_set;
    struct itimerspec wanted; // by the moved clock
};

static const volatile struct position *shared;
static pthread_once_t once = PTHREAD_ONCE_INIT;
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static struct armed timers[MOST_FILES]; // by their file
static unsigned char is_boot_timer[MOST_FILES];
static int64_t armed_number;

static void map_position(void) {
    const char *const path = getenv("OTA_DESK_CLOCK");
    const int file = path == NULL ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return;
    }
    void *const found = mmap(NULL, sizeof(struct position), PROT_READ, MAP_SHARED, file, 0);
    shared = found == MAP_FAILED ? NULL : found;
    close(file);
}

static struct position position(void) {
    struct position seen = {.speed = 1};
    pthread_once(&once, map_position);
    if (shared == NULL) {
        return seen;
    }
    do {
        memcpy(&seen, (const void *)shared, sizeof(seen));
    } while (seen.number != seen.same_number);
    if (seen.speed < 1) {
        seen.speed = 1;
    }
    return seen;
}

static int real_gettime(clockid_t clock, struct timespec *now) {
    static int (*real)(clockid_t, struct timespec *);
    if (real == NULL) {
        *(void **)&real = dlsym(RTLD_NEXT, "clock_gettime");
    }
    return real(clock, now);
}

static int64_t in_nano(const struct timespec *time) { return time->tv_sec * NANO + time->tv_nsec; }

static struct timespec from_nano(int64_t nano) {
    if (nano < 0) {
        nano = 0;
    }
    return (struct timespec){.tv_sec = nano / NANO, .tv_nsec = nano % NANO};
}

static int64_t real_boot(void) {
    struct timespec now;
    real_gettime(CLOCK_BOOTTIME, &now);
    return in_nano(&now);
}

// How much further the moved clock is at this moment, beside what it was put ahead.
static int64_t gained(const struct position *at, int64_t boot) {
    return boot > at->since ? (boot - at->since) * (at->speed - 1) : 0;
}

int clock_gettime(clockid_t clock, struct timespec *now) {
    const int result = real_gettime(clock, now);
    const int wall = clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
    if (result != 0 || (!wall && clock != CLOCK_BOOTTIME)) {
        return result;
    }
    const struct position at = position();
    const int64_t ahead = wall ? at.wall_ahead : at.boot_ahead;
    *now = from_nano(in_nano(now) + ahead + gained(&at, real_boot()));
    return 0;
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

// Timers.

int timerfd_create(int clock, int flags) {
    static int (*real)(int, int);
    if (real == NULL) {
        *(void **)&real = dlsym(RTLD_NEXT, "timerfd_create");
    }
    const int file = real(clock, flags);
    if (file >= 0 && file < MOST_FILES) {
        pthread_mutex_lock(&lock);
        is_boot_timer[file] = clock == CLOCK_BOOTTIME || clock == CLOCK_BOOTTIME_ALARM;
        timers[file].is_set = 0;
        pthread_mutex_unlock(&lock);
    }
    return file;
}

static int real_settime(int file, int flags, const struct itimerspec *to, struct itimerspec *old) {
    static int (*real)(int, int, const struct itimerspec *, struct itimerspec *);
    if (real == NULL) {
        *(void **)&real = dlsym(RTLD_NEXT, "timerfd_settime");
    }
    return real(file, flags, to, old);
}

// A moment of the moved clock on the real one.
static int64_t real_moment(const struct position *at, int64_t moved) {
    const int64_t without = moved - at->boot_ahead;
    return without > at->since ? at->since + (without - at->since) / at->speed : without;
}

static int arm(int file, const struct armed *timer, struct itimerspec *old) {
    struct itimerspec real = timer->wanted;
    const int64_t moment = in_nano(&timer->wanted.it_value);
    const struct position at = position();
    if (moment != 0 && (timer->flags & TFD_TIMER_ABSTIME) != 0) {
        const int64_t wanted = real_moment(&at, moment);
        // 0 would disarm it.
        real.it_value = from_nano(wanted > 0 ? wanted : 1);
    }
    return real_settime(file, timer->flags, &real, old);
}

int timerfd_settime(int file, int flags, const struct itimerspec *to, struct itimerspec *old) {
    if (file < 0 || file >= MOST_FILES || !is_boot_timer[file]) {
        return real_settime(file, flags, to, old);
    }
    pthread_mutex_lock(&lock);
    timers[file] = (struct armed){.flags = flags, .is_set = 1, .wanted = *to};
    const int result = arm(file, &timers[file], old);
    pthread_mutex_unlock(&lock);
    return result;
}

// Where the clock was moved since: every timer again.
static void arm_again(void) {
    const int64_t number = position().number;
    pthread_mutex_lock(&lock);
    if (number != armed_number) {
        armed_number = number;
        for (int file = 0; file < MOST_FILES; ++file) {
            if (timers[file].is_set && in_nano(&timers[file].wanted.it_value) != 0) {
                arm(file, &timers[file], NULL);
            }
        }
    }
    pthread_mutex_unlock(&lock);
}

int close(int file) {
    static int (*real)(int);
    if (real == NULL) {
        *(void **)&real = dlsym(RTLD_NEXT, "close");
    }
    if (file >= 0 && file < MOST_FILES && is_boot_timer[file]) {
        pthread_mutex_lock(&lock);
        is_boot_timer[file] = 0;
        timers[file].is_set = 0;
        pthread_mutex_unlock(&lock);
    }
    return real(file);
}

// Whoever sleeps until something happens looks at the clock now and then.
int epoll_wait(int file, struct epoll_event *events, int most, int timeout) {
    static int (*real)(int, struct epoll_event *, int, int);
    if (real == NULL) {
        *(void **)&real = dlsym(RTLD_NEXT, "epoll_wait");
    }
    (void)position();
    if (shared == NULL) {
        return real(file, events, most, timeout);
    }
    for (;;) {
        arm_again();
        const int turn = timeout >= 0 && timeout < GLANCE_MS ? timeout : GLANCE_MS;
        const int found = real(file, events, most, turn);
        if (found != 0 || timeout == turn) {
            return found;
        }
        if (timeout > 0) {
            timeout -= turn;
        }
    }
}
