// SPDX-License-Identifier: MIT
// Start-up: wait for the configuration manager, then fill the state that events rely on.
#include <unistd.h>

#include "main/unit.h"
#include "support/log.h"
#include "support/text.h"

namespace {

using ota::setText;

constexpr unsigned kPollInterval = 2; // seconds

void initHttpInfoDefaults() {
    g_httpInfo.timeout = 3600;
    g_httpInfo.authEnabled = 0;
    setText(g_httpInfo.userName, "None");
    setText(g_httpInfo.password, "None");
    setText(g_httpInfo.downloadPath, "");
    g_httpInfo.reservedValue = 0;
    setText(g_httpInfo.certPath, getHieCertPath());
    setText(g_httpInfo.reservedText, "");
    setText(g_rebootTime, "");
}

int otaInit() {
    initHttpInfoDefaults();
    ota_getOtaPrefActTime(g_rebootTime); // a failure leaves it empty
    OTA_NOTICE("Default reboot time at otaSwAgent initialisation, g_rebootTime = %s\n",
               g_rebootTime);
    return initUpgradeStatusInfo();
}

} // namespace

// Exported by name; a host finds it with dlsym.
OTA_EXPORT int main() {
    while (access(getCfgmgrSocketPath(), F_OK) != 0) {
        sleep(kPollInterval);
    }
    OTA_DEBUG_FIRST_NOTICE("libotaSwAgent is Called...\n");
    otaInit();
    return 0;
}
