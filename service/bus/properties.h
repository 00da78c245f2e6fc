// SPDX-License-Identifier: MIT
// The properties of the bus object: how each is read and when it counts as changed.
#ifndef SERVICE_BUS_PROPERTIES_H
#define SERVICE_BUS_PROPERTIES_H

#include "service/bus/node_status.h"

#include <chrono>
#include <systemd/sd-bus.h>
#include <vector>

namespace service {

// Their rows; the object's userdata is a BusCalls.
void addProperties(std::vector<sd_bus_vtable> &vtable);

// The names of those that differ, as sd-bus takes them: a null at the end. `passed`: the time
// between the two, by which timers may have come down.
std::vector<const char *> changedProperties(const NodeStatus &before, const NodeStatus &now,
                                            std::chrono::seconds passed);

} // namespace service

#endif
