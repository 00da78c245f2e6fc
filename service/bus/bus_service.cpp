// SPDX-License-Identifier: MIT
#include "service/bus/bus_service.h"

#include "service/bus/methods.h"
#include "service/bus/names.h"
#include "service/bus/properties.h"
#include "service/bus/text.h"

#include <ctime>
#include <utility>

namespace service {

namespace {

// The clock that timers count on, through suspend.
std::chrono::seconds bootTime() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec);
}

void addSignals(std::vector<sd_bus_vtable> &vtable) {
    vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(kStatusSignal, "s", SD_BUS_PARAM(record), 0));
    vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(kExtenderStatusSignal, "ss",
                                              SD_BUS_PARAM(mac) SD_BUS_PARAM(record), 0));
    vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(kExtenderFileServerSignal, "ss",
                                              SD_BUS_PARAM(mac) SD_BUS_PARAM(info), 0));
    vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(kEndedSignal, "ta{sv}",
                                              SD_BUS_PARAM(ticket) SD_BUS_PARAM(details), 0));
    vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(
        kFinishedSignal, "tuss",
        SD_BUS_PARAM(ticket) SD_BUS_PARAM(code) SD_BUS_PARAM(result) SD_BUS_PARAM(reason), 0));
    vtable.push_back(SD_BUS_SIGNAL_WITH_NAMES(kHistorySignal, "s", SD_BUS_PARAM(line), 0));
}

std::vector<sd_bus_vtable> vtableOfObject() {
    std::vector<sd_bus_vtable> vtable;
    vtable.push_back(SD_BUS_VTABLE_START(0));
    addMethods(vtable);
    addProperties(vtable);
    addSignals(vtable);
    // An older library's macro for it leaves fields out.
    sd_bus_vtable end{};
    end.type = _SD_BUS_VTABLE_END;
    vtable.push_back(end);
    return vtable;
}

template <typename... Values>
bool raise(sd_bus *bus, const char *signal, const char *signature, Values... values) {
    return bus != nullptr &&
           sd_bus_emit_signal(bus, kBusPath, kBusInterface, signal, signature, values...) >= 0;
}

} // namespace

BusService::BusService(sd_event *loop, std::string address, BusCalls &calls,
                       std::chrono::milliseconds retryAfter)
    : calls_(calls), vtable_(vtableOfObject()),
      connection_(loop, std::move(address), retryAfter, [this](sd_bus *bus, sd_bus_slot **slot) {
          return sd_bus_add_object_vtable(bus, slot, kBusPath, kBusInterface, vtable_.data(),
                                          &calls_);
      }) {}

base::Result<void> BusService::start() {
    ConnectionEvents events = events_;
    events.connected = [this] {
        remember();
        if (events_.connected) {
            events_.connected();
        }
    };
    return connection_.start(std::move(events));
}

// Clients read everything when the name appears, so that is what they have heard.
void BusService::remember() {
    told_ = calls_.status();
    toldAt_ = bootTime();
}

void BusService::statusChanged() {
    sd_bus *bus = connection_.bus();
    if (bus == nullptr) {
        return;
    }
    const auto passed = bootTime() - toldAt_;
    std::vector<const char *> names = changedProperties(told_, calls_.status(), passed);
    if (names.front() == nullptr) {
        return;
    }
    // sd-bus takes what strv functions take, and changes none of it.
    auto **list = const_cast<char **>(names.data());
    if (sd_bus_emit_properties_changed_strv(bus, kBusPath, kBusInterface, list) >= 0) {
        remember();
    }
}

bool BusService::raiseStatus(const std::string &record) {
    return raise(connection_.bus(), kStatusSignal, "s", busText(record).c_str());
}

void BusService::raiseExtenderStatus(const std::string &mac, const std::string &record) {
    raise(connection_.bus(), kExtenderStatusSignal, "ss", busText(mac).c_str(),
          busText(record).c_str());
}

bool BusService::raiseExtenderFileServer(const std::string &mac, const std::string &info) {
    return raise(connection_.bus(), kExtenderFileServerSignal, "ss", busText(mac).c_str(),
                 busText(info).c_str());
}

void BusService::raiseHistory(const std::string &line) {
    raise(connection_.bus(), kHistorySignal, "s", busText(line).c_str());
}

void BusService::raiseFinished(const base::End &end) {
    const std::string reason = busText(end.reason);
    const base::OutcomeRow *const row = base::rowOfCode(static_cast<int>(end.code));
    const base::ReasonRow *const why = base::rowOfReason(end.reasonCode);
    const char *const remedy = why != nullptr && why->reason != base::Reason::none ? why->remedy
                               : row != nullptr                                    ? row->remedy
                                                                                   : "";
    raise(connection_.bus(), kEndedSignal, "ta{sv}", end.ticket, 5, "code", "u", end.code, "result",
          "s", end.result.c_str(), "reason_code", "s", end.reasonCode.c_str(), "reason", "s",
          reason.c_str(), "remedy", "s", remedy);
    raise(connection_.bus(), kFinishedSignal, "tuss", end.ticket, end.code, end.result.c_str(),
          reason.c_str());
}

} // namespace service
