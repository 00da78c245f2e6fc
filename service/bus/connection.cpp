// SPDX-License-Identifier: MIT
#include "service/bus/connection.h"

#include "service/bus/names.h"

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

namespace service {

namespace {

constexpr const char *kDescription = "otad";
constexpr const char *kLocalPath = "/org/freedesktop/DBus/Local";
constexpr const char *kLocalInterface = "org.freedesktop.DBus.Local";

// What the bus answers to a request for a name.
constexpr std::uint32_t kNameIsOurs = 1;
constexpr std::uint32_t kNameWasOurs = 4;

std::string errorText(int result) { return std::system_category().message(-result); }

// sd-bus passes over what it does not know, and then speaks of a refused connection.
bool namesATransport(std::string_view address) {
    return address.empty() || address.starts_with("unix:") || address.starts_with("tcp:") ||
           address.starts_with("unixexec:");
}

int openAt(const std::string &address, sd_bus **bus) {
    if (address.empty()) {
        return sd_bus_open_system_with_description(bus, kDescription);
    }
    int result = sd_bus_new(bus);
    if (result >= 0) {
        result = sd_bus_set_description(*bus, kDescription);
    }
    if (result >= 0) {
        result = sd_bus_set_address(*bus, address.c_str());
    }
    if (result >= 0) {
        result = sd_bus_set_bus_client(*bus, 1);
    }
    return result < 0 ? result : sd_bus_start(*bus);
}

} // namespace

BusConnection::BusConnection(sd_event *loop, std::string address,
                             std::chrono::milliseconds retryAfter, AddObject addObject)
    : loop_(loop), address_(std::move(address)), retryAfter_(retryAfter),
      addObject_(std::move(addObject)) {}

base::Result<void> BusConnection::start(ConnectionEvents events) {
    events_ = std::move(events);
    const int result = namesATransport(address_) ? open() : -EINVAL;
    if (result == -E2BIG) {
        return base::Error{where() +
                           ": the path of the socket is too long; it may have 107 characters"};
    }
    if (result == -EINVAL) {
        return base::Error{where() + ": not the address of a message bus; write it like "
                                     "unix:path=/run/dbus/system_bus_socket"};
    }
    if (result < 0) {
        lose("cannot be reached: " + errorText(result));
    }
    return {};
}

// Neither connecting nor the greeting is waited for: what is sent meanwhile queues up in sd-bus.
int BusConnection::open() {
    object_.reset();
    disconnected_.reset();
    nameReply_.reset();
    bus_.reset();
    sd_bus *bus = nullptr;
    int result = openAt(address_, &bus);
    bus_.reset(bus);
    if (result >= 0) {
        result = prepare();
    }
    if (result < 0) {
        bus_.reset();
    }
    return result;
}

// The object is there before the name is: who sees the name may call.
int BusConnection::prepare() {
    int result = sd_bus_attach_event(bus_.get(), loop_, SD_EVENT_PRIORITY_NORMAL);
    if (result < 0) {
        return result;
    }
    sd_bus_slot *slot = nullptr;
    result = addObject_(bus_.get(), &slot);
    object_.reset(slot);
    if (result < 0) {
        return result;
    }
    slot = nullptr;
    result = sd_bus_match_signal(bus_.get(), &slot, nullptr, kLocalPath, kLocalInterface,
                                 "Disconnected", onDisconnected, this);
    disconnected_.reset(slot);
    if (result < 0) {
        return result;
    }
    slot = nullptr;
    result = sd_bus_request_name_async(bus_.get(), &slot, kBusName, 0, onNameReply, this);
    nameReply_.reset(slot);
    return result;
}

int BusConnection::onRetry(sd_event_source *, std::uint64_t, void *self) {
    auto &connection = *static_cast<BusConnection *>(self);
    if (const int result = connection.open(); result < 0) {
        connection.lose("cannot be reached: " + errorText(result));
    }
    return 0;
}

int BusConnection::onDisconnected(sd_bus_message *, void *self, sd_bus_error *) {
    static_cast<BusConnection *>(self)->lose("the connection was lost");
    return 0;
}

int BusConnection::onNameReply(sd_bus_message *message, void *self, sd_bus_error *) {
    static_cast<BusConnection *>(self)->takeNameReply(message);
    return 0;
}

void BusConnection::takeNameReply(sd_bus_message *message) {
    const std::string name = kBusName;
    if (sd_bus_message_is_method_error(message, SD_BUS_ERROR_ACCESS_DENIED) > 0) {
        refuse("the bus does not let this user own the name " + name +
               "; install the bus policy and run the service as root");
        return;
    }
    std::uint32_t answer = 0;
    if (sd_bus_message_is_method_error(message, nullptr) > 0 ||
        sd_bus_message_read(message, "u", &answer) < 0) {
        lose("the bus did not answer");
        return;
    }
    if (answer != kNameIsOurs && answer != kNameWasOurs) {
        refuse("another process owns the name " + name + "; stop it first");
        return;
    }
    nameIsOurs_ = true;
    lossTold_ = false;
    if (events_.connected) {
        events_.connected();
    }
}

// May run inside a callback of the connection, so that the next attempt takes it down.
void BusConnection::lose(const std::string &why) {
    nameIsOurs_ = false;
    if (refused_) {
        return;
    }
    sd_event_source *source = nullptr;
    const auto delay = std::chrono::duration_cast<std::chrono::microseconds>(retryAfter_).count();
    std::uint64_t moment = 0;
    if (momentIn(loop_, static_cast<std::uint64_t>(delay), moment) < 0 ||
        sd_event_add_time(loop_, &source, CLOCK_BOOTTIME, moment, 0, onRetry, this) < 0) {
        refuse("no memory left to try again; restart the service");
        return;
    }
    retry_.reset(source);
    if (!std::exchange(lossTold_, true) && events_.lost) {
        events_.lost(where() + ": " + why + "; it is tried again until it is back");
    }
}

void BusConnection::refuse(const std::string &why) {
    refused_ = true;
    retry_.reset();
    if (events_.refused) {
        events_.refused(where() + ": " + why);
    }
}

std::string BusConnection::where() const {
    return address_.empty() ? "system bus" : "bus " + address_;
}

} // namespace service
