/* SPDX-License-Identifier: MIT */
/* The platform of tests/foreign with gateway, bus, root and timers of its own, for a host that has
 * none, and one fault in them, which the variable FAULT names. Its host gives the timers their turn
 * with runTimers. */
#include "../foreign/platform.c"

#include "otaSwAgent/agent.h"
#include "platform/evbus.h"
#include "platform/nwa.h"
#include "platform/timers.h"

#include <pthread.h>
#include <stdlib.h>
#include <time.h>

void sync(void) {} /* by another name, see CMakeLists.txt */

static int is(const char *fault) {
    const char *chosen = getenv("FAULT");
    return chosen != NULL && strcmp(chosen, fault) == 0;
}

int nal_setSwmgntFileServerInfo(const char *json) {
    if (is("hand-off-aborts")) {
        abort();
    }
    return strlen(json) == 0;
}

int evbusSendSignal(const char *sender, const char *signalName, const char *data, int dataLen) {
    static char kept[4096];
    if (data == NULL) {
        return is("signal-is-never-empty") ? data[0] : 0;
    }
    memcpy(kept, data, (size_t)dataLen + (is("signal-read-too-far") ? 1 : 0));
    if (is("signal-changed")) {
        memset((char *)(size_t)data, 'x', 1);
    }
    return strcmp(sender, EVBUS_AGENT_NAME) != 0 || strcmp(signalName, EVBUS_STATUS_SIGNAL) != 0;
}

int nwa_sendNotificationToRoot(const SwmgntSyncMsg *message) {
    if (!is("message-kept")) {
        free((void *)(size_t)message);
    }
    return 0;
}

static struct {
    const char *name;
    void (*handler)(void);
    int runs;
    long long end; /* milliseconds */
} timers[] = {
    {TIMER_REBOOT, otaSwAgentProcessRebootTimer, 0, 0},
    {TIMER_DOWNLOAD_START, otaSwAgentProcessDownloadStartTimer, 0, 0},
    {TIMER_DOWNLOAD_RETRY, otaSwAgentProcessDownloadRetryTimer, 0, 0},
};
enum { TIMERS = sizeof timers / sizeof timers[0] };

static long long now(void) {
    struct timespec time;
    clock_gettime(CLOCK_BOOTTIME, &time);
    return time.tv_sec * 1000LL + time.tv_nsec / 1000000;
}

int startTimer(int seconds, const char *name) {
    if (is("start-blocks")) {
        usleep(800000);
    }
    if (is("negative-never-ends") && seconds < 0) {
        return -1;
    }
    for (int i = 0; i < TIMERS; ++i) {
        if (strcmp(timers[i].name, name) == 0) {
            if (is("does-not-start-over") && timers[i].runs) {
                return 0;
            }
            timers[i].name = is("name-kept") ? name : timers[i].name;
            timers[i].runs = 1;
            timers[i].end = now() + (is("all-take-a-second") ? 1 : seconds) * 1000LL;
            return 0;
        }
    }
    return -1;
}

int stopTimer(const char *name) {
    int stopped = -1;
    for (int i = 0; i < TIMERS; ++i) {
        if (strcmp(timers[i].name, name) == 0 && timers[i].runs) {
            timers[i].runs = is("stop-does-nothing");
            stopped = 0;
        }
    }
    return is("stop-needs-one") ? stopped : 0;
}

static void *onAnother(void *timer) {
    timers[*(int *)timer].handler();
    return NULL;
}

static void expire(int i) {
    timers[i].runs = is("expires-again");
    timers[i].end += 100;
    if (is("name-kept")) {
        timers[i].runs = 0;
        if (strcmp(timers[i].name, "overwritten") == 0) {
            return;
        }
    }
    if (is("on-another-thread")) {
        pthread_t thread;
        pthread_create(&thread, NULL, onAnother, &i);
        pthread_join(thread, NULL);
    } else {
        timers[is("calls-another-handler") ? (i + 1) % TIMERS : i].handler();
    }
}

void runTimers(void);

void runTimers(void) {
    for (int i = 0; i < TIMERS; ++i) {
        if (timers[i].runs && now() >= timers[i].end && !is("never-expires")) {
            expire(i);
        }
    }
}
