// SPDX-License-Identifier: MIT
// The methods of the bus object.
#ifndef SERVICE_BUS_METHODS_H
#define SERVICE_BUS_METHODS_H

#include <systemd/sd-bus.h>
#include <vector>

namespace service {

// Their rows; the object's userdata is a BusCalls.
void addMethods(std::vector<sd_bus_vtable> &vtable);

} // namespace service

#endif
