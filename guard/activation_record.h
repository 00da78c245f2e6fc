// SPDX-License-Identifier: MIT
// Which activation times may reach the agent.
#ifndef GUARD_ACTIVATION_RECORD_H
#define GUARD_ACTIVATION_RECORD_H

#include "guard/node_identity.h"
#include "guard/refusal.h"

#include <optional>
#include <string>
#include <string_view>

namespace guard {

struct ActivationRecord {
    std::string record; // canonical JSON: exactly model, mac, sn and actTime
    std::string time;   // "hh[:mm[:ss]]" of 24 hours, or empty: no time is set
};

/*
 * Checks a record of any bytes and size: one JSON object with actTime; model, mac and sn may be
 * missing or empty, else they must be this node's. Nothing: the activation is filled. A refusal:
 * it is untouched.
 */
std::optional<Refusal> checkActivationTime(std::string_view text, const NodeIdentity &node,
                                           ActivationRecord &activation);

} // namespace guard

#endif
