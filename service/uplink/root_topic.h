// SPDX-License-Identifier: MIT
// The topics between extenders and the root: which node speaks, and of what.
#ifndef SERVICE_UPLINK_ROOT_TOPIC_H
#define SERVICE_UPLINK_ROOT_TOPIC_H

#include "service/uplink/root_envelope.h"

#include <string>
#include <string_view>

namespace service {

/* "<prefix>/<mac>/report" or "<prefix>/<mac>/file-server". */
std::string rootTopic(std::string_view prefix, std::string_view mac, FromExtender::Kind kind);

/* The same topic of every node, to subscribe to. */
std::string everyRootTopic(std::string_view prefix, FromExtender::Kind kind);

/* Takes a topic apart; the mac is not checked. False: it is none of these topics. */
bool parseRootTopic(std::string_view prefix, std::string_view topic, std::string &mac,
                    FromExtender::Kind &kind);

} // namespace service

#endif
