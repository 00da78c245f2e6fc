// SPDX-License-Identifier: MIT
#include "cli/bus_client.h"

#include "base/failure.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

namespace cli {
namespace {

using base::Outcome;

constexpr std::uint64_t kCallUs = 10ULL * 1000 * 1000;

class BusError {
  public:
    BusError() = default;
    ~BusError() { sd_bus_error_free(&error_); }
    BusError(const BusError &) = delete;
    BusError &operator=(const BusError &) = delete;

    sd_bus_error *get() { return &error_; }

  private:
    sd_bus_error error_{};
};

struct KnownError {
    std::string_view name;
    Outcome outcome;
    const char *what;
};

// What the bus itself answers where the service does not.
constexpr std::array kKnownErrors = {
    KnownError{SD_BUS_ERROR_SERVICE_UNKNOWN, Outcome::noService, "otad is not on the bus"},
    KnownError{SD_BUS_ERROR_NAME_HAS_NO_OWNER, Outcome::noService, "otad is not on the bus"},
    KnownError{SD_BUS_ERROR_NO_REPLY, Outcome::noService, "otad went away during the call"},
    KnownError{SD_BUS_ERROR_DISCONNECTED, Outcome::noService, "the bus closed the connection"},
    KnownError{SD_BUS_ERROR_ACCESS_DENIED, Outcome::accessDenied, "this user may not call otad"},
    KnownError{SD_BUS_ERROR_TIMEOUT, Outcome::failed, "otad gave no answer within 10 s"},
};

[[noreturn]] void throwConnectFailure(int error, const std::string &address) {
    const std::string where = address.empty() ? "the system bus" : "the bus at " + address;
    if (error == EINVAL) {
        throw base::Failure(Outcome::wrongUse,
                            where + ": this is no address of a bus, expected one like "
                                    "unix:path=/run/dbus/system_bus_socket");
    }
    const bool denied = error == EACCES || error == EPERM;
    throw base::Failure(denied ? Outcome::accessDenied : Outcome::noService,
                        where + " cannot be reached: " + std::strerror(error));
}

} // namespace

BusClient::BusClient(const std::string &address) {
    sd_bus *bus = nullptr;
    int result = 0;
    if (address.empty()) {
        result = sd_bus_open_system(&bus);
        bus_.reset(bus);
    } else {
        result = sd_bus_new(&bus);
        bus_.reset(bus);
        if (result >= 0) {
            result = sd_bus_set_address(bus, address.c_str());
        }
        if (result >= 0) {
            result = sd_bus_set_bus_client(bus, 1);
        }
        if (result >= 0) {
            result = sd_bus_start(bus);
        }
    }
    // The name is given once the bus has let this user in.
    const char *name = nullptr;
    if (result >= 0) {
        result = sd_bus_get_unique_name(bus, &name);
    }
    if (result < 0) {
        throwConnectFailure(-result, address);
    }
}

Message BusClient::newCall(const char *interface, const char *member) {
    sd_bus_message *message = nullptr;
    const int result = sd_bus_message_new_method_call(bus_.get(), &message, service::kBusName,
                                                      service::kBusPath, interface, member);
    Message owned(message);
    check(result, member);
    return owned;
}

Message BusClient::send(sd_bus_message *request) {
    BusError error;
    sd_bus_message *answer = nullptr;
    const int result = sd_bus_call(bus_.get(), request, kCallUs, error.get(), &answer);
    Message owned(answer);
    if (result < 0) {
        // A connection that broke before the call is told by the number alone.
        if (sd_bus_error_is_set(error.get()) == 0) {
            sd_bus_error_set_errno(error.get(), result);
        }
        throwCallFailure(*error.get());
    }
    return owned;
}

void BusClient::check(int result, const char *member) {
    if (result == -ENOTCONN || result == -ECONNRESET) {
        throw base::Failure(Outcome::noService, "the bus closed the connection");
    }
    if (result < 0) {
        throw base::Failure(Outcome::failed,
                            std::string(member) + " cannot be exchanged with otad: " +
                                std::strerror(-result) + " (their versions may differ)");
    }
}

Message BusClient::newNodeCall() {
    Message request = newCall("org.freedesktop.DBus.Properties", "GetAll");
    check(sd_bus_message_append(request.get(), "s", service::kBusInterface), "GetAll");
    return request;
}

Node BusClient::readNode() {
    const Message request = newNodeCall();
    const Message answer = send(request.get());
    Node node;
    takeProperties(answer.get(), node);
    return node;
}

void throwCallFailure(const sd_bus_error &error) {
    const std::string_view name = error.name == nullptr ? "" : error.name;
    const std::string message = error.message == nullptr ? "" : error.message;
    if (const base::OutcomeRow *const row = base::rowOfBusError(name)) {
        throw base::Failure(row->outcome, message);
    }
    for (const KnownError &known : kKnownErrors) {
        if (known.name == name) {
            throw base::Failure(known.outcome, known.what);
        }
    }
    throw base::Failure(Outcome::failed, std::string(name) + ": " + message);
}

} // namespace cli
