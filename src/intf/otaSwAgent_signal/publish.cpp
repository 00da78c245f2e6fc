// SPDX-License-Identifier: MIT
// Publishing the status record: on the bus everywhere, and at the root from an extender.
#include <stdlib.h>

#include "intf/otaSwAgent_signal/root_envelope.h"
#include "intf/otaSwAgent_signal/unit.h"
#include "platform/evbus.h"
#include "support/device_context.h"
#include "support/handle.h"
#include "support/log.h"
#include "support/text.h"

namespace {

// The agent's own name for the one signal that it knows.
constexpr char kUpgradeStatusSignal[] = "upgrade_status";

} // namespace

int otaSwAgent_sendUpgradeSignal(void) {
    const ota::Json record{encode_UpgradeStatus_to_json(&swUpgStat)};
    if (!record) {
        return -1;
    }
    char text[1024]{}; // a longer record is sent as far as it was printed
    cJSON_PrintPreallocated(record.get(), text, sizeof text - 1, true);
    ota::JsonText oneLine{cJSON_PrintUnformatted(record.get())};
    OTA_NOTICE("upgrade_status %s", textOrEmpty(oneLine));
    oneLine.reset();
    otaswmgnt_sendSignal(kUpgradeStatusSignal, text, ota::lengthOf(text) + 1);
    OTA_TRACE("Inside otaSwAgent_sendUpgradeSignal:Sent signal done");
    return 0;
}

void otaswmgnt_sendSignal(const char *signal, const char *data, int dataLen) {
    if (!ota::sameText(signal, kUpgradeStatusSignal)) {
        OTA_ERROR("Wrong Signal = %s", signal);
        exit(1); // a programming error, not a state of the node
    }
    OTA_NOTICE("Send Signal = %s", EVBUS_STATUS_SIGNAL);
    const bool hasData = data != nullptr && dataLen > 0;
    if (evbusSendSignal(EVBUS_AGENT_NAME, EVBUS_STATUS_SIGNAL, hasData ? data : nullptr,
                        hasData ? dataLen : 0) != 0) {
        OTA_ERROR("EVBUS fail");
    }
    ota::DeviceContext node;
    node.query(); // a failed query leaves what it found: without a mode the report is forwarded
    if (!node.countsAs(ota::kGatewayMode)) {
        ota::forwardToRoot(EVBUS_STATUS_SIGNAL, data);
    }
}
