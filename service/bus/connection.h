// SPDX-License-Identifier: MIT
// A connection to the bus that owns a name and comes back by itself when it is lost.
#ifndef SERVICE_BUS_CONNECTION_H
#define SERVICE_BUS_CONNECTION_H

#include "base/result.h"
#include "service/bus/handles.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace service {

// Each may be left empty. All but `lost`, which start() may call, come from the loop.
struct ConnectionEvents {
    // The name is ours: calls arrive, signals leave.
    std::function<void()> connected;
    // The bus cannot be reached or went away; one line. Told once until it is back: it is tried
    // again for ever.
    std::function<void(const std::string &why)> lost;
    // Wrong for good, one line: another owns the name or the bus forbids it. Nothing is tried
    // again.
    std::function<void(const std::string &why)> refused;
};

class BusConnection {
  public:
    // Adds the object to a fresh connection, before its name is asked for; as sd-bus does it.
    using AddObject = std::function<int(sd_bus *bus, sd_bus_slot **slot)>;

    BusConnection(sd_event *loop, std::string address, std::chrono::milliseconds retryAfter,
                  AddObject addObject);
    BusConnection(const BusConnection &) = delete;
    BusConnection &operator=(const BusConnection &) = delete;

    // The first attempt. False, with one line: no attempt can ever work.
    base::Result<void> start(ConnectionEvents events);
    [[nodiscard]] bool connected() const { return nameIsOurs_; }
    // Null while there is none.
    [[nodiscard]] sd_bus *bus() const { return nameIsOurs_ ? bus_.get() : nullptr; }

  private:
    static int onRetry(sd_event_source *source, std::uint64_t now, void *self);
    static int onDisconnected(sd_bus_message *message, void *self, sd_bus_error *error);
    static int onNameReply(sd_bus_message *message, void *self, sd_bus_error *error);

    int open();
    int prepare();
    void lose(const std::string &why);
    void refuse(const std::string &why);
    void takeNameReply(sd_bus_message *message);
    [[nodiscard]] std::string where() const;

    sd_event *loop_;
    std::string address_;
    std::chrono::milliseconds retryAfter_;
    AddObject addObject_;
    ConnectionEvents events_;
    Bus bus_;
    // The object must be gone before its table is: an unanswered call may outlive the service.
    BusSlot object_, disconnected_, nameReply_;
    EventSource retry_;
    bool nameIsOurs_ = false;
    bool lossTold_ = false;
    bool refused_ = false;
};

} // namespace service

#endif
