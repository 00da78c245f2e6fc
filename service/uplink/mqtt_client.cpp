// SPDX-License-Identifier: MIT
#include "service/uplink/mqtt_client.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <mqtt_protocol.h>

namespace service {
namespace {

constexpr std::uint32_t kNoExpiry = 0xFFFFFFFF; // the protocol's word for a session without end

// A key with a pass phrase is refused: nobody is there to type it.
int refuseToAsk(char * /*buffer*/, int /*size*/, int /*rwflag*/, void * /*client*/) { return 0; }

const char *orNull(const std::string &text) { return text.empty() ? nullptr : text.c_str(); }

MqttEvents &eventsOf(void *object) { return *static_cast<MqttEvents *>(object); }

void setCallbacks(mosquitto *client) {
    mosquitto_log_callback_set(client, [](mosquitto *, void *events, int level, const char *text) {
        if (level == MOSQ_LOG_ERR) {
            eventsOf(events).onError(text);
        }
    });
    mosquitto_connect_v5_callback_set(
        client, [](mosquitto *, void *events, int code, int, const mosquitto_property *) {
            eventsOf(events).onConnect(code);
        });
    mosquitto_subscribe_callback_set(
        client, [](mosquitto *, void *events, int, int count, const int *granted) {
            eventsOf(events).onSubscribe(count, granted);
        });
    mosquitto_publish_v5_callback_set(
        client, [](mosquitto *, void *events, int id, int reason, const mosquitto_property *) {
            eventsOf(events).onPublish(id, reason);
        });
    mosquitto_message_callback_set(client,
                                   [](mosquitto *, void *events, const mosquitto_message *message) {
                                       eventsOf(events).onMessage(*message);
                                   });
}

// For the connection that follows. The library has no call for that alone; this one keeps them,
// then sees that no host was named.
base::Result<void> setProperties(mosquitto *client, bool lasting) {
    mosquitto_property *list = nullptr;
    int code = mosquitto_property_add_int32(&list, MQTT_PROP_MAXIMUM_PACKET_SIZE,
                                            static_cast<std::uint32_t>(kLargestRootPacket));
    if (code == MOSQ_ERR_SUCCESS && lasting) {
        code = mosquitto_property_add_int32(&list, MQTT_PROP_SESSION_EXPIRY_INTERVAL, kNoExpiry);
    }
    if (code == MOSQ_ERR_SUCCESS) {
        mosquitto_connect_bind_v5(client, nullptr, 0, 0, nullptr, list);
    }
    mosquitto_property_free_all(&list);
    return code == MOSQ_ERR_SUCCESS
               ? base::Result<void>()
               : base::Error{std::string("no client: ") + mosquitto_strerror(code)};
}

// The library checks the broker's host name by itself, unless it is told not to.
base::Result<void> setTls(mosquitto *client, const RootConfig &config) {
    constexpr int kVerifyPeer = 1;
    if (mosquitto_tls_set(client, config.caCertificate.c_str(), nullptr, orNull(config.certificate),
                          orNull(config.key), refuseToAsk) != MOSQ_ERR_SUCCESS) {
        return base::Error{
            "[root] ca_certificate, certificate or key cannot be read; check the files"};
    }
    if (mosquitto_tls_opts_set(client, kVerifyPeer, "tlsv1.2", nullptr) != MOSQ_ERR_SUCCESS) {
        return base::Error{"TLS 1.2 is not to be had; install a newer TLS library"};
    }
    return {};
}

} // namespace

base::Result<MqttClient> newMqttClient(const MqttSetup &setup, MqttEvents &events) {
    // A listener's session lasts at the broker, which keeps messages for it. A sender's ends with
    // the connection. Version 5 tells a sender whether anybody listens, and lets no broker send
    // more than is taken.
    MqttClient client(mosquitto_new(setup.clientId.c_str(), !setup.listen, &events));
    if (!client) {
        return base::Error{std::string("no client: ") + std::strerror(errno) +
                           "; check that [node] serial is plain text and memory is left"};
    }
    mosquitto_int_option(client.get(), MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V5);
    mosquitto_int_option(client.get(), MOSQ_OPT_TCP_NODELAY, 1);
    setCallbacks(client.get());
    const auto isSet = setProperties(client.get(), setup.listen).andThen([&] {
        return setTls(client.get(), setup.config);
    });
    return isSet ? base::Result(std::move(client)) : isSet.error();
}

} // namespace service
