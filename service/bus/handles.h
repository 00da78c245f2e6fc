// SPDX-License-Identifier: MIT
// Owners of what the bus library hands out.
#ifndef SERVICE_BUS_HANDLES_H
#define SERVICE_BUS_HANDLES_H

#include <cstdint>
#include <ctime>
#include <memory>
#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

namespace service {

// Closes the connection first: without that, a message that is still held keeps it open.
struct CloseBus {
    void operator()(sd_bus *bus) const { sd_bus_close_unref(bus); }
};
struct ReleaseSlot {
    void operator()(sd_bus_slot *slot) const { sd_bus_slot_unref(slot); }
};
struct ReleaseMessage {
    void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};
struct ReleaseSource {
    void operator()(sd_event_source *source) const { sd_event_source_disable_unref(source); }
};
struct ReleaseLoop {
    void operator()(sd_event *loop) const { sd_event_unref(loop); }
};

using Bus = std::unique_ptr<sd_bus, CloseBus>;
using BusSlot = std::unique_ptr<sd_bus_slot, ReleaseSlot>;
using BusMessage = std::unique_ptr<sd_bus_message, ReleaseMessage>;
using EventSource = std::unique_ptr<sd_event_source, ReleaseSource>;
using EventLoop = std::unique_ptr<sd_event, ReleaseLoop>;

/* The moment so many microseconds from now, as the timers of the loop want it; negative: none. */
inline int momentIn(sd_event *loop, std::uint64_t us, std::uint64_t &moment) {
    const int result = sd_event_now(loop, CLOCK_BOOTTIME, &moment);
    moment += us;
    return result;
}

} // namespace service

#endif
