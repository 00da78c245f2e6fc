// SPDX-License-Identifier: MIT
#include "service/uplink/mqtt_session.h"

#include "service/uplink/root_topic.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mqtt_protocol.h>
#include <poll.h>
#include <sys/socket.h>

namespace service {
namespace {

using std::chrono::milliseconds;
using Kind = FromExtender::Kind;

constexpr int kQos = 1;
// A broker whose machine went away is found out after at most twice this.
constexpr int kKeepAliveSeconds = 15;
constexpr int kFirstRefusal = 128; // of the protocol's reason codes
constexpr milliseconds kIdleStep{1000};
constexpr milliseconds kBusyStep{50}; // while an answer or a connection is awaited

constexpr const char *kCheckRoad = "; check [root] broker, that the broker runs and that this node "
                                   "reaches it";
constexpr const char *kCheckCertificates =
    "; check that [root] ca_certificate signed the broker's certificate, that it names this host, "
    "and [root] certificate and key";
constexpr const char *kCheckRights = "; check the broker's access list for this node";

// A socket that is broken in both directions, which the library does not find out by itself before
// TLS has begun. Empty: it is whole.
std::string socketProblem(int socket) {
    pollfd entry{socket, 0, 0};
    if (poll(&entry, 1, 0) <= 0) {
        return "";
    }
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &length);
    return error != 0 ? std::strerror(error) : "the connection is refused or closed";
}

// "OpenSSL Error[0]: error:0A000086:SSL routines::certificate verify failed": the last part of it.
std::string lastPart(const std::string &text) {
    const std::size_t colon = text.rfind(':');
    const std::size_t begin =
        colon == std::string::npos ? std::string::npos : text.find_first_not_of(' ', colon + 1);
    return begin == std::string::npos ? text : text.substr(begin);
}

} // namespace

std::string brokerName(const RootConfig &config) {
    const bool isV6 = config.host.find(':') != std::string::npos;
    return "the root's broker " + (isV6 ? "[" + config.host + "]" : config.host) + ":" +
           std::to_string(config.port);
}

MqttSession::MqttSession(const MqttSetup &setup, RootMailbox &mailbox)
    : setup_(setup), mailbox_(mailbox) {}

MqttSession::~MqttSession() {
    // The latest first, since each goes to the front.
    for (auto one = inFlight_.rbegin(); one != inFlight_.rend(); ++one) {
        mailbox_.giveBack(std::move(one->second));
    }
}

bool MqttSession::run() {
    if (connect()) {
        while (!failed_) {
            waitForWork();
            mailbox_.wake().clear();
            if (mailbox_.shouldEnd()) {
                mosquitto_disconnect(client_.get());
                break;
            }
            if (!mailbox_.isFull() && step() && ready_) {
                sendOutgoing();
            }
        }
    }
    if (ready_) {
        mailbox_.tell(ConnectionChange{false});
    }
    return ready_;
}

bool MqttSession::connect() {
    auto client = newMqttClient(setup_, *this);
    if (!client) {
        return fail(client.error().text);
    }
    client_ = std::move(*client);
    connectDeadline_ = RootClock::now() + setup_.times.connect;
    const RootConfig &config = setup_.config;
    // Only the look-up of the name blocks in here.
    const int code =
        mosquitto_connect_async(client_.get(), config.host.c_str(), config.port, kKeepAliveSeconds);
    if (code != MOSQ_ERR_SUCCESS) {
        return failOfLibrary(code);
    }
    // The node starts programs: none of them should hold this connection.
    fcntl(mosquitto_socket(client_.get()), F_SETFD, FD_CLOEXEC);
    return true;
}

void MqttSession::waitForWork() const {
    const bool reads = !mailbox_.isFull();
    const int socket = reads ? mosquitto_socket(client_.get()) : -1;
    const int events = POLLIN | (mosquitto_want_write(client_.get()) ? POLLOUT : 0);
    std::array<pollfd, 2> entries{
        {{mailbox_.wake().fd(), POLLIN, 0}, {socket, static_cast<short>(events), 0}}};
    const milliseconds step = ready_ && inFlight_.empty() ? kIdleStep : kBusyStep;
    poll(entries.data(), entries.size(), static_cast<int>(step.count()));
}

bool MqttSession::step() {
    // Asked first, since who asks second is told of no error; what the broker said before it closed
    // says more, though, and that is read first.
    const std::string brokenSocket = socketProblem(mosquitto_socket(client_.get()));
    const int code = mosquitto_loop(client_.get(), 0, 1);
    if (failed_) {
        return false; // a callback has said why
    }
    if (!brokenSocket.empty() && libraryError_.empty()) {
        return fail(brokenSocket + kCheckRoad);
    }
    if (code != MOSQ_ERR_SUCCESS) {
        return failOfLibrary(code);
    }
    if (!ready_ && RootClock::now() >= connectDeadline_) {
        return fail(std::string("no answer") + kCheckRoad);
    }
    return !isOverdue();
}

// Whoever does not confirm in time may be gone: the next message gets a connection of its own.
bool MqttSession::isOverdue() {
    const auto now = RootClock::now();
    const bool overdue = std::any_of(inFlight_.begin(), inFlight_.end(),
                                     [now](const auto &one) { return now >= one.second.deadline; });
    if (overdue) {
        inFlight_.clear();
        fail(std::string("a message was not confirmed") + kCheckRoad);
    }
    return overdue;
}

void MqttSession::sendOutgoing() {
    while (auto message = mailbox_.takeOutgoing()) {
        int id = 0;
        const int code = mosquitto_publish(client_.get(), &id, message->topic.c_str(),
                                           static_cast<int>(message->text.size()),
                                           message->text.data(), kQos, false);
        if (code != MOSQ_ERR_SUCCESS) {
            mailbox_.giveBack(std::move(*message));
            failOfLibrary(code);
            return;
        }
        inFlight_.emplace(id, std::move(*message));
    }
}

void MqttSession::becomeReady() {
    ready_ = true;
    mailbox_.setProblem("");
    mailbox_.tell(ConnectionChange{true});
}

void MqttSession::subscribe() {
    std::string reports = everyRootTopic(setup_.config.topic, Kind::report);
    std::string fileServers = everyRootTopic(setup_.config.topic, Kind::fileServer);
    const std::array<char *, 2> topics{reports.data(), fileServers.data()};
    const int code = mosquitto_subscribe_multiple(
        client_.get(), nullptr, static_cast<int>(topics.size()), topics.data(), kQos, 0, nullptr);
    if (code != MOSQ_ERR_SUCCESS) {
        failOfLibrary(code);
    }
}

bool MqttSession::fail(const std::string &reasonAndRemedy) {
    failed_ = true;
    mailbox_.setProblem(brokerName(setup_.config) + ": " + reasonAndRemedy);
    return false;
}

bool MqttSession::failOfLibrary(int code) {
    if (!libraryError_.empty()) {
        return fail(lastPart(libraryError_) + kCheckCertificates);
    }
    const bool ofSystem = code == MOSQ_ERR_ERRNO;
    const std::string reason = ofSystem ? std::strerror(errno) : mosquitto_strerror(code);
    return fail(reason + kCheckRoad);
}

void MqttSession::onConnect(int code) {
    if (code != 0) {
        fail(std::string("it refuses this node: ") + mosquitto_reason_string(code) + kCheckRights);
    } else if (setup_.listen) {
        subscribe();
    } else {
        becomeReady();
    }
}

void MqttSession::onSubscribe(int count, const int *granted) {
    for (int i = 0; i < count; ++i) {
        if (granted[i] >= kFirstRefusal) {
            fail("it does not let this node listen below \"" + setup_.config.topic + "\"" +
                 kCheckRights);
            return;
        }
    }
    becomeReady();
}

void MqttSession::onPublish(int messageId, int reason) {
    const auto found = inFlight_.find(messageId);
    if (found == inFlight_.end()) {
        return;
    }
    base::Result<void> published;
    if (reason == MQTT_RC_NO_MATCHING_SUBSCRIBERS) {
        published =
            base::Error{brokerName(setup_.config) + ": nobody listens to \"" + found->second.topic +
                            "\"; check that the gateway's service runs, with this broker and topic",
                        base::Reason::noGateway};
    } else if (reason >= kFirstRefusal) {
        published =
            base::Error{brokerName(setup_.config) + ": it refuses \"" + found->second.topic +
                            "\": " + mosquitto_reason_string(reason) + kCheckRights,
                        base::Reason::rootNotReached};
    }
    mailbox_.tell(PublishAnswer{found->second.id, std::move(published)});
    inFlight_.erase(found);
}

void MqttSession::onMessage(const mosquitto_message &message) {
    Unchecked taken;
    if (!parseRootTopic(setup_.config.topic, message.topic, taken.sender, taken.kind)) {
        return; // of an older subscription that the broker still holds
    }
    taken.text.assign(static_cast<const char *>(message.payload),
                      static_cast<std::size_t>(message.payloadlen));
    taken.retained = message.retain;
    mailbox_.tell(std::move(taken));
}

void MqttSession::onError(const char *text) {
    if (libraryError_.empty()) {
        libraryError_ = text;
    }
}

} // namespace service
