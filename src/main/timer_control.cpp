// SPDX-License-Identifier: MIT
// The one gate through which timers are started and stopped.
#include "main/timer_control.h"

#include "main/unit.h"
#include "support/log.h"

using ota::isEmpty;
using ota::lengthOf;

int otaSwAgentStartStopTimer(void) {
    OTA_PLATFORM_NOTICE("Received g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s\n",
                        g_timerToSwmgnt, g_timerTypeToSwmgnt);
    OTA_TRACE("Received g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s\n"
              " strlen(g_timerTypeToSwmgnt)=%d",
              g_timerToSwmgnt, g_timerTypeToSwmgnt, lengthOf(g_timerTypeToSwmgnt));
    if (!isEmpty(g_timerTypeToSwmgnt)) {
        if (g_timerToSwmgnt != ota::kStop) {
            OTA_NOTICE("This call is for startTimer...\n");
            startTimer(g_timerToSwmgnt, g_timerTypeToSwmgnt);
        } else {
            OTA_NOTICE("This call is for stopTimer...\n");
            stopTimer(g_timerTypeToSwmgnt);
        }
    }
    ota::requestTimer(ota::kStop, "");
    return 0;
}
