// SPDX-License-Identifier: MIT
// The local time now, in the time zone that holds now.
#pragma once

#include <time.h>

namespace ota {

// Follows a time zone that changed while the process runs, as mktime does.
inline struct tm localTime(time_t when) {
    struct tm local {};
    tzset();
    localtime_r(&when, &local);
    return local;
}

} // namespace ota
