// SPDX-License-Identifier: MIT
// The connection to the service: calls and what their failures mean.
#ifndef CLI_BUS_CLIENT_H
#define CLI_BUS_CLIENT_H

#include "cli/node.h"
#include "service/bus/handles.h"
#include "service/bus/names.h"

#include <cstdint>
#include <string>
#include <systemd/sd-bus.h>

namespace cli {

using Message = service::BusMessage;

class BusClient {
  public:
    /* Connects; an empty address is the system bus. Throws Failure: noService where the bus cannot
     * be reached, accessDenied where it does not let this user in, wrongUse for a bad address. */
    explicit BusClient(const std::string &address);

    /* Calls a method of the service and waits for its answer, at most 10 s. The arguments are those
     * of sd_bus_message_append. Throws Failure with the outcome that the error stands for. */
    template <typename... Arguments>
    Message call(const char *member, const char *types, Arguments... arguments) {
        Message request = newCall(service::kBusInterface, member);
        check(sd_bus_message_append(request.get(), types, arguments...), member);
        return send(request.get());
    }
    /* The same for a method that answers with a ticket. */
    template <typename... Arguments>
    std::uint64_t callForTicket(const char *member, const char *types, Arguments... arguments) {
        const Message answer = call(member, types, arguments...);
        std::uint64_t ticket = 0;
        check(sd_bus_message_read(answer.get(), "t", &ticket), member);
        return ticket;
    }

    Node readNode();
    /* The call that asks for every property, to be sent by the caller. */
    Message newNodeCall();

    [[nodiscard]] sd_bus *bus() const { return bus_.get(); }

  private:
    Message newCall(const char *interface, const char *member);
    Message send(sd_bus_message *request);
    static void check(int result, const char *member);

    service::Bus bus_;
};

/* Throws the Failure that this error of a call stands for. */
[[noreturn]] void throwCallFailure(const sd_bus_error &error);

} // namespace cli

#endif
