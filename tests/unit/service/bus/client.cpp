// SPDX-License-Identifier: MIT
// Calls whose replies are collected, and signals as text.
#include "client.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace {

std::string basicText(sd_bus_message *message, char type) {
    union {
        const char *text;
        std::uint8_t byte;
        int number;
        std::uint32_t natural;
        std::uint64_t large;
    } value{};
    sd_bus_message_read_basic(message, type, &value);
    switch (type) {
    case 's':
    case 'o':
    case 'g':
        return '"' + std::string(value.text == nullptr ? "" : value.text) + '"';
    case 'b':
        return value.number != 0 ? "true" : "false";
    case 'y':
        return std::to_string(value.byte);
    case 'i':
        return std::to_string(value.number);
    case 'u':
        return std::to_string(value.natural);
    case 't':
        return std::to_string(value.large);
    default:
        return "unknown type";
    }
}

std::string describeRest(sd_bus_message *message, const char *separator) {
    std::string text;
    char type = 0;
    const char *contents = nullptr;
    while (sd_bus_message_peek_type(message, &type, &contents) > 0) {
        if (!text.empty()) {
            text += separator;
        }
        if (contents == nullptr) {
            text += basicText(message, type);
            continue;
        }
        sd_bus_message_enter_container(message, type, contents);
        const std::string inner = describeRest(message, type == 'e' ? "=" : " ");
        sd_bus_message_exit_container(message);
        if (type == 'a') {
            text += '[' + inner + ']';
        } else if (type == 'r') {
            text += '(' + inner + ')';
        } else {
            text += inner;
        }
    }
    return text;
}

std::string textIn(const char *value) { return value == nullptr ? "" : value; }

} // namespace

std::string describe(sd_bus_message *message) { return describeRest(message, " "); }

Client::Client(sd_event *loop, const std::string &address) {
    sd_bus *bus = nullptr;
    EXPECT_GE(sd_bus_new(&bus), 0);
    bus_.reset(bus);
    EXPECT_GE(sd_bus_set_address(bus, address.c_str()), 0);
    EXPECT_GE(sd_bus_set_bus_client(bus, 1), 0);
    EXPECT_GE(sd_bus_start(bus), 0);
    EXPECT_GE(sd_bus_add_filter(bus, nullptr, onMessage, this), 0);
    EXPECT_GE(sd_bus_attach_event(bus, loop, SD_EVENT_PRIORITY_NORMAL), 0);
}

service::BusMessage Client::newCall(const char *interface, const char *method) {
    sd_bus_message *call = nullptr;
    EXPECT_GE(sd_bus_message_new_method_call(bus_.get(), &call, service::kBusName,
                                             service::kBusPath, interface, method),
              0);
    return service::BusMessage(call);
}

ReplyRef Client::send(sd_bus_message *call) {
    auto reply = std::make_shared<Reply>();
    sd_bus_slot *slot = nullptr;
    auto *held = new ReplyRef(reply);
    EXPECT_GE(sd_bus_call_async(bus_.get(), &slot, call, onReply, held, 0), 0);
    sd_bus_slot_set_destroy_callback(slot,
                                     [](void *kept) { delete static_cast<ReplyRef *>(kept); });
    sd_bus_slot_set_floating(slot, 1);
    sd_bus_slot_unref(slot);
    return reply;
}

ReplyRef Client::ownerOf(const char *name) {
    sd_bus_message *made = nullptr;
    EXPECT_GE(sd_bus_message_new_method_call(bus_.get(), &made, "org.freedesktop.DBus",
                                             "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                             "GetNameOwner"),
              0);
    const service::BusMessage call(made);
    EXPECT_GE(sd_bus_message_append(made, "s", name), 0);
    return send(made);
}

ReplyRef Client::listen() {
    auto installed = std::make_shared<Reply>();
    EXPECT_GE(sd_bus_match_signal_async(
                  bus_.get(), nullptr, service::kBusName, service::kBusPath, nullptr, nullptr,
                  onSignal, [](sd_bus_message *, void *, sd_bus_error *) { return 0; }, this),
              0);
    // Answered behind the match, on the same connection.
    return ownerOf("org.freedesktop.DBus");
}

int Client::onReply(sd_bus_message *message, void *reply, sd_bus_error *) {
    Reply &taken = **static_cast<ReplyRef *>(reply);
    taken.arrived = true;
    if (const sd_bus_error *error = sd_bus_message_get_error(message); error != nullptr) {
        taken.error = textIn(error->name);
        taken.content = textIn(error->message);
    } else {
        taken.content = describe(message);
    }
    return 0;
}

int Client::onSignal(sd_bus_message *message, void *self, sd_bus_error *) {
    static_cast<Client *>(self)->heard.push_back(
        {textIn(sd_bus_message_get_sender(message)), textIn(sd_bus_message_get_interface(message)),
         textIn(sd_bus_message_get_member(message)), describe(message)});
    return 0;
}

int Client::onMessage(sd_bus_message *message, void *self, sd_bus_error *) {
    std::uint8_t type = 0;
    sd_bus_message_get_type(message, &type);
    if (type == SD_BUS_MESSAGE_METHOD_RETURN || type == SD_BUS_MESSAGE_METHOD_ERROR) {
        ++static_cast<Client *>(self)->repliesOnTheWire;
    }
    return 0;
}
