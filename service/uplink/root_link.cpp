// SPDX-License-Identifier: MIT
#include "service/uplink/root_link.h"

#include "service/uplink/mqtt_thread.h"
#include "service/uplink/root_mailbox.h"
#include "service/uplink/root_topic.h"

#include <utility>

namespace service {
namespace {

using Kind = FromExtender::Kind;

// Long enough for a farewell to a living broker.
constexpr std::chrono::milliseconds kPatienceAtTheEnd{200};

const char *nameOf(Kind kind) {
    return kind == Kind::report ? "the status report" : "the file server's address";
}

base::Error notReached(const std::string &text) { return {text, base::Reason::rootNotReached}; }

template <class... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};
template <class... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

} // namespace

RootLink::RootLink(RootConfig config, std::string clientId, std::string mac, bool listen,
                   RootTimes times)
    : config_(std::move(config)), mac_(std::move(mac)), times_(times),
      mailbox_(std::make_shared<RootMailbox>()) {
    startMqttThread(MqttSetup{config_, std::move(clientId), listen, times_}, mailbox_);
}

RootLink::~RootLink() { end(); }

void RootLink::end() {
    mailbox_->askToEnd();
    // The thread is on its own: one that hangs in a name look-up keeps the mailbox alive, finds
    // the end there when the look-up is over, and nobody has to wait for it.
    mailbox_->waitForEnd(kPatienceAtTheEnd);
}

int RootLink::fd() const { return mailbox_->events().fd(); }

std::string RootLink::problem() const { return mailbox_->problem(); }

void RootLink::dispatch(const std::function<void(const Unchecked &)> &taken,
                        const std::function<void(bool)> &connection) {
    const auto tellChange = [&](const ConnectionChange &change) {
        connected_ = change.up;
        connection(change.up);
    };
    const auto tellAnswer = [&](const PublishAnswer &one) { answer(one.id, one.published); };
    for (const RootEvent &event : mailbox_->takeEvents()) {
        std::visit(Overloaded{taken, tellChange, tellAnswer}, event);
    }
}

void RootLink::publish(Kind kind, std::string text, Published published) {
    const std::uint64_t id = nextId_++;
    const auto deadline = RootClock::now() + times_.publish;
    waiting_[id] = Waiting{std::move(published), deadline, nameOf(kind)};
    if (text.size() > kLongestRootMessage) {
        mailbox_->tell(PublishAnswer{
            id, notReached(std::string(nameOf(kind)) + " of " + std::to_string(text.size()) +
                           " bytes is not sent to the root: at most " +
                           std::to_string(kLongestRootMessage) + " bytes")});
        return;
    }
    mailbox_->send(Outgoing{id, rootTopic(config_.topic, mac_, kind), std::move(text), deadline});
}

void RootLink::tick() {
    const auto now = RootClock::now();
    std::map<std::uint64_t, std::string> overdue;
    for (const auto &[id, one] : waiting_) {
        if (now < one.deadline) {
            continue;
        }
        const bool wasSent = !mailbox_->withdraw(id);
        const std::string reason = mailbox_->problem();
        overdue[id] = std::string(one.what) + " did not reach the root in time: ";
        if (!reason.empty()) {
            overdue[id] += reason;
        } else if (wasSent) {
            overdue[id] += brokerName(config_) + " did not confirm it; look at the broker's log";
        } else {
            overdue[id] += brokerName(config_) + " did not answer; check that it runs and that "
                                                 "this node reaches it";
        }
    }
    for (const auto &[id, text] : overdue) {
        answer(id, notReached(text));
    }
}

void RootLink::answer(std::uint64_t id, const base::Result<void> &published) {
    const auto found = waiting_.find(id);
    if (found == waiting_.end()) {
        return; // its time was over before
    }
    const Published answer = std::move(found->second.published);
    waiting_.erase(found);
    answer(published);
}

} // namespace service
