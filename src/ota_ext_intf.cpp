// SPDX-License-Identifier: MIT
// Two wrappers around the platform's work mode and work role.
#include "support/log.h"

static constexpr char kUnit[] = "ota_ext_intf";

// Kept: both answer "ok" whether or not the platform did; only the log line tells.
static constexpr int kAlwaysOk = 1;

int ota_intf_getWorkMode(char *mode) {
    if (nal_getWorkMode(mode) == 0) {
        OTA_PLATFORM_NOTICE("WorkMode is ok Value = %s\n", mode);
    } else {
        OTA_PLATFORM_ERROR("WorkMode failed");
    }
    return kAlwaysOk;
}

int ota_intf_getWorkRole(char *role) {
    if (nal_getWorkRole(role) == 0) {
        OTA_PLATFORM_NOTICE("WorkRole is ok Value = %s\n", role);
    } else {
        OTA_PLATFORM_ERROR("WorkRole failed");
    }
    return kAlwaysOk;
}
