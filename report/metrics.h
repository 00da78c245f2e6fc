// SPDX-License-Identifier: MIT
// The node in figures, for whoever watches many of them.
#ifndef REPORT_METRICS_H
#define REPORT_METRICS_H

#include "cli/bus_client.h"
#include "report/process_memory.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace report {

using Counters = std::vector<std::pair<std::string, std::uint64_t>>;

/* What the service tells. */
struct Measured {
    cli::Node node;
    Counters counters; // as the bus names them
    std::vector<ProcessMemory> processes;
};

/* Throws Failure where the service does not answer. A service of an older release has no counters.
 */
Measured measure(cli::BusClient &client);

/* In the text format of Prometheus; the help lines say what each figure is. */
std::string metricsText(const Measured &measured);
/* Of a node whose service does not answer: it is down. */
std::string metricsOfNone();

} // namespace report

#endif
