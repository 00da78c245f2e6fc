// SPDX-License-Identifier: MIT
// The methods of the bus object.
#ifndef HOST_DAEMON_BUS_METHODS_H
#define HOST_DAEMON_BUS_METHODS_H

#include <systemd/sd-bus.h>
#include <vector>

namespace otad {

// Their rows; the object's userdata is a BusCalls.
void addMethods(std::vector<sd_bus_vtable> &vtable);

} // namespace otad

#endif
