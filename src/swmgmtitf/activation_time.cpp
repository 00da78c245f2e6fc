// SPDX-License-Identifier: MIT
// A new activation time: stored, and the running reboot timer moved to it.
#include "main/timer_control.h"
#include "support/log.h"
#include "support/text.h"
#include "swmgmtitf/unit.h"

namespace {

constexpr char kActivationTime[] = "otaSwmgnt_process_activation_time";
constexpr int32_t kScheduled = 1;

void moveRebootTimer() {
    ota::requestTimer(ota::kStop, TIMER_REBOOT);
    OTA_NOTICE_OF(kActivationTime,
                  "Stopping rebootTimer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();

    OTA_NOTICE_OF(kActivationTime, "Starting new rebootTimer with g_rebootTime = %s", g_rebootTime);
    const int32_t delay = getTimeInSeonds(g_rebootTime);
    OTA_NOTICE_OF(kActivationTime, "rebootTime is = %d", delay);
    ota::requestTimer(delay, TIMER_REBOOT);
    OTA_NOTICE_OF(kActivationTime,
                  "Starting Reboot Timer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
}

} // namespace

// Kept: the lines name the new-image intake and its record, whose texts they share.
void ota_recv_newActivationTime(const char *jsonText) {
    OTA_TRACE("Inside ota_recv_newActivationTime");
    if (parse_ActivationTime_from_json(jsonText, &swActTime) != 0) {
        OTA_NOTICE("parse_ActivationTime_from_json fail");
    }
    OTA_NOTICE("UpdateActivationTimeSignal Data:");
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.model = %s", swActTime.model);
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.mac = %s", swActTime.mac);
    OTA_NOTICE("ota_recv_newimagenfo:swInfo.sn = %s", swActTime.sn);
    OTA_TRACE("ota_recv_newimagenfo:swInfo.activationTime = %s", swActTime.actTime);
    OTA_NOTICE("model %s mac %s sn %s actTime %s", swActTime.model, swActTime.mac, swActTime.sn,
               swActTime.actTime);
}

void otaSwmgnt_process_activation_time(const char *jsonText, void * /*reserved*/) {
    OTA_TRACE("Inside otaSwmgnt_process_activation_time to process the new ONT Actication Time");
    ota_recv_newActivationTime(jsonText);
    g_mAppRebootTrig = 1;
    OTA_NOTICE("swActTime.actTime = %s", swActTime.actTime);
    if (ota::isEmpty(swActTime.actTime)) {
        return;
    }
    ota::copyText(g_rebootTime, swActTime.actTime);
    OTA_PLATFORM_NOTICE("Received new rebootTimer with g_rebootTime = %s", g_rebootTime);
    OTA_TRACE("Received new rebootTimer with g_rebootTime = %s reboot_flag = %d", g_rebootTime,
              reboot_flag);
    if (reboot_flag == kScheduled) {
        moveRebootTimer();
    }
}
