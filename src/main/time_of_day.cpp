// SPDX-License-Identifier: MIT
// From a time of day to the seconds until it comes round, and the uptime.
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/sysinfo.h>
#include <time.h>

#include "main/unit.h"
#include "support/local_time.h"
#include "support/log.h"
#include "support/text.h"

namespace {

constexpr double kSecondsPerDay = 86400.0;

struct tm atTimeOfDay(struct tm day, int hour, int minute, int second) {
    day.tm_hour = hour;
    day.tm_min = minute;
    day.tm_sec = second;
    return day;
}

// Kept: a target of exactly now is a full day away, so that no reboot timer fires at once.
double secondsUntil(double nowOfDay, double targetOfDay) {
    return nowOfDay < targetOfDay ? targetOfDay - nowOfDay
                                  : kSecondsPerDay - (nowOfDay - targetOfDay);
}

// Truncates toward zero; a time that no int can hold becomes the nearest one.
int wholeSeconds(double seconds) {
    if (seconds >= static_cast<double>(INT_MAX)) {
        return INT_MAX;
    }
    return seconds <= static_cast<double>(INT_MIN) ? INT_MIN : static_cast<int>(seconds);
}

} // namespace

int diff_time(int hour, int minute, int second) {
    const time_t now = time(nullptr);
    const struct tm today = ota::localTime(now);
    struct tm target = atTimeOfDay(today, hour, minute, second);
    struct tm midnight = atTimeOfDay(today, 0, 0, 0);

    const time_t startOfDay = mktime(&midnight);
    const double nowOfDay = difftime(now, startOfDay);
    const double targetOfDay = difftime(mktime(&target), startOfDay);
    return wholeSeconds(secondsUntil(nowOfDay, targetOfDay));
}

int getTimeInSeonds(const char *timeText) {
    char text[64]{};
    ota::copyText(text, timeText);
    int fields[3]{}; // hour, minute, second; a missing one is 0, a fourth is ignored
    char *rest = nullptr;
    const char *field = strtok_r(text, ":", &rest);
    for (int &value : fields) {
        if (field == nullptr) {
            break;
        }
        value = static_cast<int>(strtol(field, nullptr, 10)); // atoi, defined for every text
        field = strtok_r(nullptr, ":", &rest);
    }
    const int seconds = diff_time(fields[0], fields[1], fields[2]);
    OTA_NOTICE("Diff Time is %d\n", seconds);
    return seconds;
}

int get_uptime(void) {
    struct sysinfo system {};
    if (sysinfo(&system) != 0) {
        return 0;
    }
    return static_cast<int>(system.uptime);
}
