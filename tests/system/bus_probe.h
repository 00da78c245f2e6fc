// SPDX-License-Identifier: MIT
// A client of the service that waits for each answer, for probes.
#ifndef TESTS_SYSTEM_BUS_PROBE_H
#define TESTS_SYSTEM_BUS_PROBE_H

#include "service/bus/handles.h"
#include "service/bus/names.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace probe {

inline constexpr std::uint64_t kLimitUs = 120'000'000;

/* Ends the program where a probe cannot go on: the test that started it reads the line. */
inline void require(int result, const char *what) {
    if (result < 0) {
        std::fprintf(stderr, "probe: %s: %s\n", what, std::strerror(-result));
        std::exit(1);
    }
}

inline service::Bus connect(const char *address) {
    sd_bus *bus = nullptr;
    require(sd_bus_new(&bus), "a bus");
    service::Bus owned(bus);
    require(sd_bus_set_address(bus, address), "the address");
    require(sd_bus_set_bus_client(bus, 1), "a client of the bus");
    require(sd_bus_start(bus), "the connection");
    return owned;
}

} // namespace probe

#endif
