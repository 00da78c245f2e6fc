// SPDX-License-Identifier: MIT
// The road between extenders and root as this node takes it, whatever its role is just now.
#include "host/daemon/root_road.h"

#include <sys/epoll.h>

namespace otad {
namespace {

constexpr std::int64_t kTickMs = 100;

} // namespace

// As the agent classifies modes and roles.
bool RootRoad::isGateway() const {
    const NodeStatus &status = board_.lastStatus();
    return status.workMode == "RGW" ||
           (status.workMode == "AP_Bridge" && status.workRole == "Controller");
}

void RootRoad::follow() {
    const std::string &mac = board_.lastStatus().mac;
    if (config_.rootHost.empty() || mac.empty() ||
        (link_ && linkedMac_ == mac && listens_ == isGateway())) {
        return;
    }
    if (link_ && link_->waiting()) {
        followLater_ = true;
        return;
    }
    followLater_ = false;
    watched_.reset();
    link_.reset();
    board_.setRootConnected(false);
    linkedMac_ = mac;
    listens_ = isGateway();
    link_ = std::make_unique<RootLink>(
        RootConfig{config_.rootHost, config_.rootPort, config_.rootCaCertificate,
                   config_.rootCertificate, config_.rootKey, config_.rootTopic},
        "otaSwAgent-" + mac, mac, listens_);
    watched_.emplace(loop_, link_->fd(), EPOLLIN, [this](std::uint32_t) {
        link_->dispatch([this](const FromExtender &message) { take(message); },
                        [this](bool connected) { board_.setRootConnected(connected); });
    });
}

void RootRoad::publish(FromExtender::Kind kind, const std::string &text,
                       std::function<void(bool)> answer) {
    if (kind == FromExtender::Kind::fileServer && isGateway()) {
        raiseFileServer(board_.lastStatus().mac, text);
        return answer(true);
    }
    if (!link_) {
        tell("root-failed", host::Outcome::rootUnreachable,
             config_.rootHost.empty() ? "no broker of the root is configured; set [root] broker"
                                      : "the node's own address is not known; look for br0");
        return answer(false);
    }
    link_->publish(kind, text, [this, answer = std::move(answer)](const std::string &whatIsWrong) {
        const bool reached = whatIsWrong.empty();
        tell(reached ? "root-notified" : "root-failed",
             reached ? host::Outcome::done : host::Outcome::rootUnreachable, whatIsWrong);
        answer(reached);
    });
    tick_.setInMs(kTickMs);
}

void RootRoad::tick() {
    if (link_ && link_->waiting()) {
        link_->tick();
        tick_.setInMs(kTickMs);
    } else if (followLater_) {
        follow();
    }
}

void RootRoad::take(const FromExtender &message) {
    if (!message.refusal.empty()) {
        tell("extender-report", host::Outcome::failed, message.mac + ": " + message.refusal);
    } else if (message.kind == FromExtender::Kind::report) {
        bus_.raiseExtenderStatus(message.mac, message.text);
        tell("extender-report", host::Outcome::done, message.mac);
    } else {
        raiseFileServer(message.mac, message.text);
    }
}

void RootRoad::raiseFileServer(const std::string &mac, const std::string &info) {
    bus_.raiseExtenderFileServer(mac, info);
    tell("extender-file-server", host::Outcome::done, mac);
}

void RootRoad::tell(const char *event, host::Outcome outcome, const std::string &reason) {
    HistoryLine line;
    line.event = event;
    line.outcome = outcome;
    line.reason = reason;
    chronicle_.tell(line);
}

} // namespace otad
