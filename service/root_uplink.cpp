// SPDX-License-Identifier: MIT
#include "service/root_uplink.h"

#include "service/state/deferral.h"
#include "service/state/line_source.h"

#include <sys/epoll.h>
#include <utility>

namespace service {
namespace {

constexpr std::int64_t kTickMs = 100;
constexpr std::int64_t kLookMs = 5000; // the bridge may come up, or change, at any time
constexpr const char *kNoBus =
    "the message bus is not connected, so nobody hears of the image; look for the bus";

std::string rootSenderOf(const Unchecked &message) {
    const std::string mac = message.mac();
    return mac.empty() ? kNoAddress : mac;
}

} // namespace

void RootUplink::follow() {
    board_.lookAtAddress();
    look_.setInMs(kLookMs);
    const std::string &mac = board_.lastStatus().mac;
    if (config_.rootHost.empty() || mac.empty() ||
        (link_ && linkedMac_ == mac && listens_ == isGateway(board_.lastStatus()))) {
        return;
    }
    if (link_ && link_->waiting()) {
        followLater_ = true;
        return;
    }
    followLater_ = false;
    end();
    linkedMac_ = mac;
    listens_ = isGateway(board_.lastStatus());
    link_ = std::make_unique<RootLink>(
        RootConfig{config_.rootHost, config_.rootPort, config_.rootCaCertificate,
                   config_.rootCertificate, config_.rootKey, config_.rootTopic},
        "otaSwAgent-" + mac, mac, listens_);
    paused_ = false;
    watched_.emplace(loop_, link_->fd(), EPOLLIN, [this](std::uint32_t) { dispatch(); });
}

void RootUplink::end() {
    if (!link_) {
        return;
    }
    watched_.reset();
    link_->end();
    link_->dispatch([this](const Unchecked &message) { take(message); }, [](bool) {});
    for (const auto &[sender, message] : std::exchange(late_, {})) {
        tellChecked(message);
    }
    link_.reset();
    board_.setRootConnected(false);
}

// While the disk is behind, nothing is taken: the link reads no further then, and what comes waits
// at the broker.
void RootUplink::dispatch() {
    if (listens_ && eventLog_.isBehind()) {
        paused_ = true;
        watched_->waitFor(0);
        return tick_.setInMs(kTickMs);
    }
    link_->dispatch([this](const Unchecked &message) { take(message); },
                    [this](bool connected) { board_.setRootConnected(connected); });
}

void RootUplink::publish(FromExtender::Kind kind, const std::string &text,
                         RootLink::Published answer) {
    if (kind == FromExtender::Kind::fileServer && isGateway(board_.lastStatus())) {
        return answer(raiseFileServer(board_.lastStatus().mac, text));
    }
    if (!link_) {
        const base::Error failure =
            config_.rootHost.empty()
                ? base::Error{"no broker of the root is configured; set [root] broker",
                              base::Reason::rootNotReached}
                : base::Error{"the node's own address is not known; look for br0",
                              base::Reason::noAddress};
        tellPublished(failure);
        return answer(failure);
    }
    link_->publish(kind, text,
                   [this, answer = std::move(answer)](const base::Result<void> &published) {
                       tellPublished(published);
                       answer(published);
                   });
    tick_.setInMs(kTickMs);
}

void RootUplink::tellPublished(const base::Result<void> &published) {
    if (published) {
        tell("root-notified", base::Outcome::done, {});
    } else {
        tell("root-failed", base::Outcome::rootUnreachable, published.error());
    }
}

void RootUplink::tick() {
    if (link_ && link_->waiting()) {
        link_->tick();
    } else if (followLater_) {
        follow();
    }
    if (paused_ && !eventLog_.isBehind()) {
        paused_ = false;
        watched_->waitFor(EPOLLIN);
    }
    std::erase_if(late_, [this](const auto &one) {
        const bool isAdmitted = eventLog_.admitsNow(one.first, one.second.text);
        if (isAdmitted) {
            tellChecked(one.second);
        }
        return isAdmitted;
    });
    if (paused_ || !late_.empty() || (link_ && link_->waiting())) {
        tick_.setInMs(kTickMs);
    }
}

// Judged before it is checked: a flood costs no reading.
void RootUplink::take(const Unchecked &message) {
    const std::string sender = rootSenderOf(message);
    const auto verdict = eventLog_.judge(sender, message.text);
    if (verdict == SenderLimit::Verdict::tell) {
        late_.erase(sender);
        tellChecked(message);
    } else if (verdict == SenderLimit::Verdict::over && eventLog_.keepsForLater(sender)) {
        late_[sender] = message;
        tick_.setInMs(kTickMs);
    }
}

void RootUplink::tellChecked(const Unchecked &unchecked) {
    const FromExtender message = unchecked.check(config_.allowPlainHttp);
    if (!message.refusal.empty()) {
        tell("extender-report", base::Outcome::failed,
             {rootSenderOf(unchecked) + ": " + message.refusal});
    } else if (message.kind == FromExtender::Kind::report) {
        bus_.raiseExtenderStatus(message.mac, message.text);
        tell("extender-report", base::Outcome::done, {message.mac});
    } else {
        static_cast<void>(raiseFileServer(message.mac, message.text));
    }
}

base::Result<void> RootUplink::raiseFileServer(const std::string &mac, const std::string &info) {
    if (bus_.raiseExtenderFileServer(mac, info)) {
        tell("extender-file-server", base::Outcome::done, {mac});
        return {};
    }
    const base::Error noBus{kNoBus, base::Reason::busMissing};
    tell("extender-file-server", base::Outcome::failed, noBus.within(mac + ": "));
    return noBus;
}

void RootUplink::tell(const char *event, base::Outcome outcome, const base::Error &cause) {
    eventLog_.record(
        {.event = event, .outcome = outcome, .reasonCode = cause.reason, .reason = cause.text});
}

} // namespace service
