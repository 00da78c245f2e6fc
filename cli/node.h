// SPDX-License-Identifier: MIT
// The node as the service describes it: its properties, read from the bus, printed as JSON.
#ifndef CLI_NODE_H
#define CLI_NODE_H

#include "base/json.h"
#include "cli/answer.h"
#include "service/bus/node_status.h"

#include <string>
#include <string_view>
#include <systemd/sd-bus.h>
#include <vector>

namespace cli {

using Timer = service::TimerLeft;
using Bank = service::BankView;
using BankTrial = service::BankTrial;
using FailedVersion = service::FailedTrial;
using Node = service::NodeStatus;

/* Takes the properties of an a{sv} over; those that are not there stay, unknown ones are skipped.
 * Returns the names that were taken. Throws Failure where one has another type than its own. */
std::vector<std::string_view> takeProperties(sd_bus_message *message, Node &node);

/* Adds every property under its name in snake_case. */
void addProperties(cJSON *object, const Node &node);

/* Half a sentence on what the activation time governs, and until when. */
std::string governedBy(const Node &node);

} // namespace cli

#endif
