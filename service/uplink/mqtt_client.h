// SPDX-License-Identifier: MIT
// A client object of the MQTT library, set up for one connection.
#ifndef SERVICE_UPLINK_MQTT_CLIENT_H
#define SERVICE_UPLINK_MQTT_CLIENT_H

#include "service/uplink/root_link.h"

#include <memory>
#include <mosquitto.h>
#include <string>

namespace service {

struct MqttSetup {
    RootConfig config;
    std::string clientId;
    bool listen;
    RootTimes times;
};

/* What the library reports, from inside the calls that drive it. */
class MqttEvents {
  public:
    virtual ~MqttEvents() = default;
    /* 0: taken in; else the protocol's code. */
    virtual void onConnect(int code) = 0;
    virtual void onSubscribe(int count, const int *granted) = 0;
    virtual void onPublish(int messageId, int reason) = 0;
    virtual void onMessage(const mosquitto_message &message) = 0;
    virtual void onError(const char *text) = 0;
};

struct MqttDestroy {
    void operator()(mosquitto *client) const { mosquitto_destroy(client); }
};
using MqttClient = std::unique_ptr<mosquitto, MqttDestroy>;

/*
 * Reads the certificates, does not connect yet; `events` must outlive the client.
 */
base::Result<MqttClient> newMqttClient(const MqttSetup &setup, MqttEvents &events);

} // namespace service

#endif
