// SPDX-License-Identifier: MIT
// Somebody who uses the service, on the same loop as the service itself.
#ifndef TESTS_SERVICE_BUS_CLIENT_H
#define TESTS_SERVICE_BUS_CLIENT_H

#include "service/bus/handles.h"
#include "service/bus/names.h"

#include <memory>
#include <string>
#include <vector>

// A message's contents: texts in double quotes, arrays in [], structs in (), dictionary entries as
// key=value, blanks between; variants as what they hold.
std::string describe(sd_bus_message *message);

struct Reply {
    bool arrived = false;
    std::string error;   // name, or empty
    std::string content; // described, or the error's message
};
using ReplyRef = std::shared_ptr<Reply>;

struct Heard {
    std::string sender; // unique name
    std::string interface;
    std::string member;
    std::string content;
};

class Client {
  public:
    Client(sd_event *loop, const std::string &address);

    template <typename... Values>
    ReplyRef callOn(const char *interface, const char *method, const char *signature,
                    Values... values) {
        const service::BusMessage call = newCall(interface, method);
        if (sd_bus_message_append(call.get(), signature, values...) < 0) {
            return nullptr;
        }
        return send(call.get());
    }
    template <typename... Values>
    ReplyRef call(const char *method, const char *signature, Values... values) {
        return callOn(service::kBusInterface, method, signature, values...);
    }
    ReplyRef property(const char *name) {
        return callOn("org.freedesktop.DBus.Properties", "Get", "ss", service::kBusInterface, name);
    }
    // Who owns a name, as the bus sees it.
    ReplyRef ownerOf(const char *name);
    // Collects every signal of the service from the reply on.
    ReplyRef listen();

    std::vector<Heard> heard;
    // Replies, counted on the wire: also those that no call waits for.
    int repliesOnTheWire = 0;

  private:
    static int onReply(sd_bus_message *message, void *reply, sd_bus_error *error);
    static int onSignal(sd_bus_message *message, void *self, sd_bus_error *error);
    static int onMessage(sd_bus_message *message, void *self, sd_bus_error *error);
    service::BusMessage newCall(const char *interface, const char *method);
    ReplyRef send(sd_bus_message *call);

    service::Bus bus_;
};

#endif
