// SPDX-License-Identifier: MIT
// Offers rubbish to the running service, again and again.
// flood_probe ADDRESS COUNT BYTES; the exit code is 0 where the service refused each with a reason.
#include "bus_probe.h"

#include <cstdlib>
#include <string>

namespace {

/* The name of the error that answered it. */
std::string refusalOf(sd_bus *bus, const std::string &descriptor) {
    sd_bus_message *made = nullptr;
    probe::require(sd_bus_message_new_method_call(bus, &made, service::kBusName, service::kBusPath,
                                                  service::kBusInterface, "OfferImage"),
                   "a call");
    const service::BusMessage call(made);
    probe::require(sd_bus_message_append(made, "syii", descriptor.c_str(), 0, 0, 0), "a text");
    sd_bus_error error{};
    sd_bus_message *answered = nullptr;
    const int result = sd_bus_call(bus, made, probe::kLimitUs, &error, &answered);
    const service::BusMessage answer(answered);
    const std::string name = result >= 0 || error.name == nullptr ? "" : error.name;
    sd_bus_error_free(&error);
    return name;
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 4) {
        std::fprintf(stderr, "use: flood_probe ADDRESS COUNT BYTES\n");
        return 2;
    }
    const int count = std::atoi(argv[2]);
    const auto bytes = static_cast<std::size_t>(std::atol(argv[3]));
    const service::Bus bus = probe::connect(argv[1]);
    int refused = 0;
    int denied = 0;
    for (int number = 0; number < count; ++number) {
        std::string text = "{\"" + std::to_string(number) + "\":\"";
        text.append(bytes > text.size() ? bytes - text.size() : 0, 'x');
        const std::string refusal = refusalOf(bus.get(), text);
        refused += refusal.starts_with(service::kBusErrorPrefix) ? 1 : 0;
        denied += refusal == SD_BUS_ERROR_ACCESS_DENIED ? 1 : 0;
    }
    std::printf("%d of %d offers refused by the service, %d by the bus\n", refused, count, denied);
    return refused == count ? 0 : 1;
}
