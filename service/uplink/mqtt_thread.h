// SPDX-License-Identifier: MIT
// The thread that keeps the connection to the broker up.
#ifndef SERVICE_UPLINK_MQTT_THREAD_H
#define SERVICE_UPLINK_MQTT_THREAD_H

#include "service/uplink/mqtt_session.h"

#include <memory>

namespace service {

/*
 * Starts it; it ends, and says so in the mailbox, once the mailbox asks for it. Signals of the
 * process do not come to it.
 */
void startMqttThread(MqttSetup setup, std::shared_ptr<RootMailbox> mailbox);

} // namespace service

#endif
