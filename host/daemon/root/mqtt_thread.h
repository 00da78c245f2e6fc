// SPDX-License-Identifier: MIT
// The thread that keeps the connection to the broker up.
#ifndef HOST_DAEMON_ROOT_MQTT_THREAD_H
#define HOST_DAEMON_ROOT_MQTT_THREAD_H

#include "host/daemon/root/mqtt_session.h"

#include <memory>

namespace otad {

/*
 * Starts it; it ends, and says so in the mailbox, once the mailbox asks for it. Signals of the
 * process do not come to it.
 */
void startMqttThread(MqttSetup setup, std::shared_ptr<RootMailbox> mailbox);

} // namespace otad

#endif
