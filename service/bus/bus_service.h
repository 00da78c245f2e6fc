// SPDX-License-Identifier: MIT
// The upgrade service on the message bus: its name, its object, its signals.
#ifndef SERVICE_BUS_BUS_SERVICE_H
#define SERVICE_BUS_BUS_SERVICE_H

#include "base/end.h"
#include "service/bus/bus_calls.h"
#include "service/bus/connection.h"
#include "service/bus/node_status.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>
#include <utility>
#include <vector>

namespace service {

// Who may call is the bus policy's matter: on a bus without one, whoever reaches the bus may.
// One thread, the loop's; nothing here blocks. A raise... while there is no bus is lost.
class BusService {
  public:
    // `address`: of the bus; empty: the system bus. `calls` and `loop` outlive the service.
    BusService(sd_event *loop, std::string address, BusCalls &calls,
               std::chrono::milliseconds retryAfter = std::chrono::seconds(1));

    // Set before start(); see connection.h for when each is called.
    void onEvents(ConnectionEvents events) { events_ = std::move(events); }
    // Starts to connect. An error: this can never work (the address is malformed). A name that
    // another holds or that the bus forbids is only known later: ConnectionEvents::refused tells
    // it, with one line too.
    base::Result<void> start();
    // The name is ours and the object answers.
    [[nodiscard]] bool connected() const { return connection_.connected(); }

    // Tells the properties that differ from what was told last, in one message. A timer differs
    // where its name is new or gone or where it was armed again, not because its seconds run.
    void statusChanged();
    // False: there is no bus, or it did not take it.
    bool raiseStatus(const std::string &record);
    void raiseExtenderStatus(const std::string &mac, const std::string &record);
    bool raiseExtenderFileServer(const std::string &mac, const std::string &info);
    void raiseHistory(const std::string &line);
    // Two signals: the first carries the whole of it, the second what there was before the first.
    void raiseFinished(const base::End &end);

  private:
    void remember();

    BusCalls &calls_;
    ConnectionEvents events_;
    std::vector<sd_bus_vtable> vtable_;
    NodeStatus told_;               // the values that clients have heard
    std::chrono::seconds toldAt_{}; // since boot
    BusConnection connection_;
};

} // namespace service

#endif
