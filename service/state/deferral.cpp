// SPDX-License-Identifier: MIT
#include "service/state/deferral.h"

#include <algorithm>

namespace service {
namespace {

bool waitsForDownload(const NodeStatus &status) {
    return status.version.empty() || passiveVersion(status) != status.version;
}

} // namespace

bool isPutOffByMode(const NodeStatus &status) {
    return waitsForDownload(status) && !isGateway(status);
}

bool isGateway(const NodeStatus &status) {
    return status.workMode == "RGW" ||
           (status.workMode == "AP_Bridge" && status.workRole == "Controller");
}

std::string passiveVersion(const NodeStatus &status) {
    const auto passive =
        std::find_if(status.banks.begin(), status.banks.end(),
                     [](const BankView &bank) { return !bank.running && bank.whole; });
    return passive == status.banks.end() ? "" : passive->version;
}

bool wouldGoOn(const NodeStatus &status) {
    return waitsForDownload(status) ? isGateway(status) && status.onboarding == 0
                                    : status.onboarding != 1;
}

std::string whyPutOff(const NodeStatus &status) {
    return isPutOffByMode(status) ? "the node is no gateway now (work mode " + status.workMode +
                                        ", work role " + status.workRole + ")"
                                  : "the node is being onboarded";
}

std::string whenTakenUp(const NodeStatus &status) {
    return isPutOffByMode(status)
               ? "when the node is a gateway (otactl set work_mode RGW), at the next boot, or with "
                 "the next offer"
               : "when the onboarding ends (otactl set onboarding 0), at the next boot, or with the "
                 "next offer";
}

} // namespace service
