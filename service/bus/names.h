// SPDX-License-Identifier: MIT
// What the upgrade service is called on the bus.
#ifndef SERVICE_BUS_NAMES_H
#define SERVICE_BUS_NAMES_H

#include "platform/evbus.h"

namespace service {

inline constexpr const char *kBusName = EVBUS_AGENT_NAME;
inline constexpr const char *kBusInterface = EVBUS_AGENT_NAME;
inline constexpr const char *kBusPath = "/velmo/otaSwAgent";
inline constexpr const char *kBusErrorPrefix = EVBUS_AGENT_NAME ".Error.";

inline constexpr const char *kStatusSignal = EVBUS_STATUS_SIGNAL;
inline constexpr const char *kExtenderStatusSignal = "extenderUpgradeStatus";
inline constexpr const char *kExtenderFileServerSignal = "extenderFileServerInfo";
inline constexpr const char *kEndedSignal = "requestEnded";
inline constexpr const char *kFinishedSignal = "requestFinished";
inline constexpr const char *kHistorySignal = "historyAdded";

} // namespace service

#endif
