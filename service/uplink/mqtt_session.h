// SPDX-License-Identifier: MIT
// One connection to the broker, from the look-up of its name to its loss.
#ifndef SERVICE_UPLINK_MQTT_SESSION_H
#define SERVICE_UPLINK_MQTT_SESSION_H

#include "service/uplink/mqtt_client.h"
#include "service/uplink/root_mailbox.h"

#include <map>
#include <string>

namespace service {

/* "the root's broker HOST:PORT". */
std::string brokerName(const RootConfig &config);

/*
 * Each connection has a client object of its own, so that a message which was given up cannot be
 * sent again by the library once the broker is back. All calls are for one thread.
 */
class MqttSession : private MqttEvents {
  public:
    MqttSession(const MqttSetup &setup, RootMailbox &mailbox);
    /* Unanswered messages go back into the mailbox. */
    ~MqttSession() override;
    MqttSession(const MqttSession &) = delete;
    MqttSession &operator=(const MqttSession &) = delete;

    /*
     * Connects and stays until the connection is lost or refused, or the mailbox says to end.
     * Blocks; the look-up of the broker's name is the only part that the mailbox cannot end. True:
     * the broker had taken this node in. The mailbox's problem says why it is over.
     */
    bool run();

  private:
    bool connect();
    void waitForWork() const;
    bool step();
    bool isOverdue();
    void sendOutgoing();
    void becomeReady();
    void subscribe();
    bool fail(const std::string &reasonAndRemedy);
    bool failOfLibrary(int code);

    void onConnect(int code) override;
    void onSubscribe(int count, const int *granted) override;
    void onPublish(int messageId, int reason) override;
    void onMessage(const mosquitto_message &message) override;
    void onError(const char *text) override;

    const MqttSetup &setup_;
    RootMailbox &mailbox_;
    MqttClient client_;
    RootClock::time_point connectDeadline_;
    std::map<int, Outgoing> inFlight_; // by the library's message number
    std::string libraryError_;         // the first error line of this connection
    bool ready_ = false, failed_ = false;
};

} // namespace service

#endif
