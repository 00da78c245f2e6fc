// SPDX-License-Identifier: MIT
// Asks for all properties many times, one after the other, and prints how long the answers took.
// latency_probe ADDRESS CALLS
#include "bus_probe.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <vector>

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// So that the calls spread over what the node does meanwhile.
constexpr auto kBetween = std::chrono::milliseconds(2);

double millisecondsOfCall(sd_bus *bus) {
    sd_bus_message *made = nullptr;
    probe::require(sd_bus_message_new_method_call(bus, &made, service::kBusName, service::kBusPath,
                                                  "org.freedesktop.DBus.Properties", "GetAll"),
                   "a call");
    const service::BusMessage call(made);
    probe::require(sd_bus_message_append(made, "s", service::kBusInterface), "its interface");
    sd_bus_message *answered = nullptr;
    const auto began = std::chrono::steady_clock::now();
    const int result = sd_bus_call(bus, made, probe::kLimitUs, nullptr, &answered);
    const Milliseconds took = std::chrono::steady_clock::now() - began;
    const service::BusMessage answer(answered);
    probe::require(result, "an answer");
    return took.count();
}

double atShare(const std::vector<double> &sorted, double share) {
    return sorted.at(static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1)));
}

} // namespace

int main(int argc, char **argv) {
    const long calls = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (calls < 1) {
        std::fprintf(stderr, "use: latency_probe ADDRESS CALLS\n");
        return 2;
    }
    const service::Bus bus = probe::connect(argv[1]);
    std::vector<double> took;
    for (long i = 0; i < calls; ++i) {
        took.push_back(millisecondsOfCall(bus.get()));
        std::this_thread::sleep_for(kBetween);
    }
    std::sort(took.begin(), took.end());
    std::printf("{\"calls\": %ld, \"p50\": %.3f, \"p99\": %.3f, \"max\": %.3f}\n", calls,
                atShare(took, 0.5), atShare(took, 0.99), took.back());
    return 0;
}
