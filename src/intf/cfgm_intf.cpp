// SPDX-License-Identifier: MIT
// The device context: mode, role, onboarding status and the preferred activation time.
#include <string.h>

#include "support/device_context.h"
#include "support/log.h"
#include "support/text.h"

static constexpr char kUnit[] = "intf/cfgm_intf";

namespace {

constexpr int kWrapperOk = 1;
constexpr char kControllerRole[] = "Controller";

} // namespace

int ota_getWifiServiceObj(char *workMode, char *workRole, int *onboardStatus) {
    OTA_NOTICE("Enter ota_getWifiServiceObj\n");
    if (ota_intf_getWorkMode(workMode) != kWrapperOk) {
        OTA_ERROR("get of WIFISERVICEOBJECT failed,\n");
        return -1;
    }
    OTA_NOTICE("nal_getWorkMode is successful, workMode = %s\n", workMode);
    if (ota_intf_getWorkRole(workRole) != kWrapperOk) {
        OTA_ERROR("get of WIFISERVICEOBJECT failed,\n");
        return -1;
    }
    OTA_NOTICE("nal_getWorkRole is successful, workRole = %s \n", workRole);
    if (nal_getRootOnBoardingStatus(onboardStatus) != 0) {
        OTA_ERROR_2("get of WIFISERVICEOBJECT failed,", "get of WIFISERVICEOBJECT failed,\n");
        return -1;
    }
    OTA_NOTICE("nal_getRootOnBoardingStatus is successful, onboardStatus = %d\n", *onboardStatus);
    return 0;
}

const char *ota_getMode(const char *workMode, const char *workRole) {
    if (workMode == nullptr || workRole == nullptr) {
        return workMode;
    }
    if (ota::sameText(workMode, ota::kGatewayMode)) {
        return ota::kGatewayMode;
    }
    if (!ota::sameText(workMode, ota::kExtenderMode)) {
        return workMode;
    }
    return ota::sameText(workRole, kControllerRole) ? ota::kGatewayMode : ota::kExtenderMode;
}

int ota_getOtaPrefActTime(char *destination) {
    // One byte more than the platform may fill, so that the text in it always ends.
    alignas(8) char settings[NAL_UPGRADE_INFO_SIZE + 1]{};
    if (nal_getSwAutoUpgradeInfo(settings) != 0) {
        OTA_ERROR_2("nal_getSwAutoUpgradeInfo failed\n", "get of SWMGNTOBJECT failed,\n");
        return -1;
    }
    const char *preferred = settings + NAL_UPGRADE_INFO_TIME_OFFSET;
    const size_t length = strnlen(preferred, OTA_TIME_TEXT_WIDTH - 1);
    memcpy(destination, preferred, length);
    destination[length] = '\0';
    return 0;
}
