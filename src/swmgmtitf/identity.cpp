// SPDX-License-Identifier: MIT
// Who this node is: its MAC, and the identity part of the status record.
#include <net/if.h>
#include <stdio.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/log.h"
#include "support/text.h"
#include "swmgmtitf/device_mac.h"
#include "swmgmtitf/unit.h"

using ota::copyText;
using ota::terminate;

namespace {

// The platform's record; one byte more than it may fill, so that the texts in it always end.
struct NodeInfo {
    alignas(8) char bytes[NAL_NODE_INFO_SIZE + 1]{};
    const char *serial() const { return bytes + NAL_NODE_INFO_SERIAL_OFFSET; }
    const char *model() const { return bytes + NAL_NODE_INFO_MODEL_OFFSET; }
};

constexpr char kInitStatus[] = "initUpgradeStatusInfo";

void takeModel(const NodeInfo &node) {
    OTA_NOTICE_OF(kInitStatus, "modelname from DB is = %s", node.model());
    copyText(swUpgStat.model, node.model());
    terminate(swUpgStat.model);
    OTA_NOTICE_OF(kInitStatus, "model = %s", swUpgStat.model);
}

void takeVersions() {
    if (nal_getCurSwVersion(swUpgStat.curswversion) != 0) {
        OTA_ERROR_OF(kInitStatus, "nal_get_current_version failed");
    }
    terminate(swUpgStat.curswversion);
    OTA_NOTICE_OF(kInitStatus, "curswversion = %s", swUpgStat.curswversion);

    if (nal_getPrevSwVersion(swUpgStat.prevswversion) == NAL_NO_PREVIOUS_IMAGE) {
        OTA_NOTICE_2_OF(kInitStatus, "nal_getPrevSwVersion NS ", "nal_getPrevSwVersion is NS");
        swUpgStat.prevswversion[0] = '\0';
    }
    terminate(swUpgStat.prevswversion);
    OTA_NOTICE_OF(kInitStatus, "prevswversion = %s", swUpgStat.prevswversion);
}

void takeMac() {
    // A failure is logged there and leaves the address of the last success.
    getIfMac(ota::kBridgeInterface, swUpgStat.mac, sizeof swUpgStat.mac);
    terminate(swUpgStat.mac);
    OTA_NOTICE_OF(kInitStatus, "DeviceMAC = %s", swUpgStat.mac);
}

void takeSerial(const NodeInfo &node) {
    copyText(swUpgStat.sn, node.serial());
    terminate(swUpgStat.sn);
    OTA_TRACE_OF(kInitStatus, "SN = %s", swUpgStat.sn);
}

} // namespace

int getIfMac(const char *ifName, char *out, size_t outLen) {
    if (ifName == nullptr || out == nullptr) {
        return -1;
    }
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    if (descriptor < 0) {
        OTA_ERROR("create getIfMac socket error");
        return -1;
    }
    struct ifreq request {};
    copyText(request.ifr_name, ifName);
    if (ioctl(descriptor, SIOCGIFHWADDR, &request) < 0) {
        OTA_ERROR("create getIfMac ioctl error");
        close(descriptor);
        return -1;
    }
    close(descriptor);
    unsigned char mac[6]{};
    memcpy(mac, request.ifr_hwaddr.sa_data, sizeof mac);
    snprintf(out, outLen, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
    return 0;
}

int initUpgradeStatusInfo(void) {
    OTA_TRACE("Inside initUpgradeStatusInfo");
    NodeInfo node;
    if (nal_getNodeInfo(node.bytes) != 0) {
        OTA_ERROR_2("calling  failed", "calling nal_getNodeInfo failed");
        return -1;
    }
    takeModel(node);
    takeVersions();
    takeMac();
    takeSerial(node);
    OTA_NOTICE("model = %s, curswversion = %sprevswversion = %s DeviceMAC = %s SN = %s",
               swUpgStat.model, swUpgStat.curswversion, swUpgStat.prevswversion, swUpgStat.mac,
               swUpgStat.sn);
    return 0;
}
