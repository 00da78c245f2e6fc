// SPDX-License-Identifier: MIT
// What decisions depend on: the node's mode, role and onboarding status, asked in one go.
#pragma once

#include "otaSwAgent/agent.h"
#include "support/text.h"

namespace ota {

inline constexpr char kGatewayMode[] = "RGW";
inline constexpr char kExtenderMode[] = "AP_Bridge";

struct DeviceContext {
    char workMode[33]{}; // 32 characters
    char workRole[33]{};
    int onboardStatus{};

    // The query's own result: 0, or -1 with whatever was filled in until then.
    int query() { return ota_getWifiServiceObj(workMode, workRole, &onboardStatus); }

    // A bridge that acts as controller counts as a gateway.
    bool countsAs(const char *mode) const {
        return sameText(ota_getMode(workMode, workRole), mode);
    }
};

} // namespace ota
