// SPDX-License-Identifier: MIT
// The retry series: it outlives a call and links one attempt to the next.
#include "swmgmtitf/download/retry.h"

#include "main/timer_control.h"
#include "support/device_context.h"
#include "support/log.h"
#include "swmgmtitf/unit.h"

namespace ota::download {

namespace {

constexpr int32_t kRetryBudget = 6;             // retries after the first attempt
constexpr int32_t kFirstDelayGateway = 30 * 60; // seconds
constexpr int32_t kFirstDelayExtender = 2 * 60; // seconds
constexpr int32_t kLaterDelay = 2 * 60;         // seconds

constinit int32_t download_retry = 0; // failed attempts in a row

void stopPendingTimer() {
    if (g_dwldRetryTimer == 0) {
        return;
    }
    g_dwldRetryTimer = 0;
    requestTimer(kStop, TIMER_DOWNLOAD_RETRY);
    OTA_NOTICE_OF(kDownload,
                  "Stopping downloadRetryTimer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
}

void giveUp(Failure failure, long responseCode, File &image) {
    stopPendingTimer();
    if (failure == Failure::ofTransfer) {
        OTA_NOTICE_OF(kDownload, "Download Rety Exceeded...");
    } else {
        OTA_NOTICE_OF(kDownload,
                      "Invalid Response Code(%ld) Received... Going for Download Rety...",
                      responseCode);
    }
    sendUpgradeSignalToSwMgnt(OTA_STATUS_RECONNECT);
    image.reset();
    download_retry = 0;
}

void announceCount(Failure failure) {
    if (failure == Failure::ofTransfer) {
        OTA_NOTICE_OF(kDownload, "%s(): download_retry = %d", kDownload, download_retry);
    } else {
        OTA_NOTICE_OF(kDownload, "download_retry = %d", download_retry);
    }
}

void announceGatewayWait(Failure failure, const DeviceContext &node) {
    if (failure == Failure::ofTransfer) {
        OTA_NOTICE_OF(kDownload,
                      "WorkMode is %s, workRole is %s, download_retry is %d, so waiting for 30min",
                      node.workMode, node.workRole, download_retry);
    } else {
        OTA_NOTICE_OF(kDownload, "WorkMode is %s, download_retry is %d, so waiting for 30min",
                      node.workMode, download_retry);
        OTA_NOTICE_OF(kDownload, "download_retry is %d, so waiting for 30min", download_retry);
    }
}

void announceExtenderWait(Failure failure, const DeviceContext &node) {
    if (failure == Failure::ofTransfer) {
        OTA_NOTICE_OF(kDownload,
                      "WorkMode is %s, workRole is %s, download_retry is %d, so waiting for 2min",
                      node.workMode, node.workRole, download_retry);
    } else {
        OTA_NOTICE_OF(kDownload, "WorkMode is %s, download_retry is %d, so waiting for 2min",
                      node.workMode, download_retry);
        OTA_NOTICE_OF(kDownload, "download_retry is %d, so waiting for 2 min", download_retry);
    }
}

// Kept: a node that is neither gateway nor extender gets no delay of its own. The request then
// still holds 0 seconds, which asks the gate for a stop instead of a start.
void chooseFirstDelay(Failure failure) {
    DeviceContext node;
    if (node.query() == 0) {
        OTA_NOTICE_OF(kDownload, "WorkMode = %s, workRole = %s, OnboardStatus = %d", node.workMode,
                      node.workRole, node.onboardStatus);
    }
    if (node.countsAs(kGatewayMode)) {
        g_timerToSwmgnt = kFirstDelayGateway;
        announceGatewayWait(failure, node);
    } else if (node.countsAs(kExtenderMode)) {
        g_timerToSwmgnt = kFirstDelayExtender;
        announceExtenderWait(failure, node);
    }
}

} // namespace

bool armRetry(Failure failure, long responseCode, File &image) {
    if (download_retry >= kRetryBudget) {
        giveUp(failure, responseCode, image);
        return false;
    }
    ++download_retry;
    announceCount(failure);
    if (download_retry == 1) {
        chooseFirstDelay(failure);
    } else {
        g_timerToSwmgnt = kLaterDelay;
    }
    g_dwldRetryTimer = 1;
    requestTimer(g_timerToSwmgnt, TIMER_DOWNLOAD_RETRY);
    // Kept: the reboot timer's words, for this timer.
    OTA_NOTICE_OF(kDownload,
                  "Starting Reboot Timer, g_timerToSwmgnt = %d, g_timerTypeToSwmgnt = %s",
                  g_timerToSwmgnt, g_timerTypeToSwmgnt);
    otaSwAgentStartStopTimer();
    return true;
}

void endSeries() { download_retry = 0; }

bool isRetryPending() { return download_retry > 0; }

} // namespace ota::download
