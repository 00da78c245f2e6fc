// SPDX-License-Identifier: MIT
// The loop's end of the link to the root: deadlines, answers, and what the extenders sent; and the
// thread that keeps the connection to the broker up: connect, lose, wait, connect again.
#include "service/uplink/root_link.h"

#include "service/uplink/mqtt_session.h"
#include "service/uplink/root_mailbox.h"
#include "service/uplink/root_topic.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <thread>
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

using std::chrono::milliseconds;

// Until the delay is over or the mailbox says to end. While a message waits for the connection, the
// delay is the shortest one: its few seconds should see more than one attempt.
void waitBetween(RootMailbox &mailbox, milliseconds delay, milliseconds shortest) {
    const auto begin = RootClock::now();
    while (!mailbox.shouldEnd()) {
        const auto end = begin + (mailbox.hasOutgoing() ? std::min(delay, shortest) : delay);
        const auto left = std::chrono::ceil<milliseconds>(end - RootClock::now()).count();
        if (left <= 0) {
            return;
        }
        pollfd entry{mailbox.wake().fd(), POLLIN, 0};
        poll(&entry, 1, static_cast<int>(left));
        mailbox.wake().clear();
    }
}

void keepConnected(const MqttSetup &setup, RootMailbox &mailbox) {
    milliseconds delay = setup.times.shortestDelay;
    while (!mailbox.shouldEnd()) {
        const bool wasUp = MqttSession(setup, mailbox).run();
        delay = wasUp ? setup.times.shortestDelay : delay;
        waitBetween(mailbox, delay, setup.times.shortestDelay);
        delay = std::min(2 * delay, setup.times.longestDelay);
    }
}

// Also keeps SIGPIPE away, which a write to a lost TLS connection raises.
void blockSignals(sigset_t *before) {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, before);
}

// It ends, and says so in the mailbox, once the mailbox asks for it. Signals of the process do not
// come to it.
void startMqttThread(MqttSetup setup, std::shared_ptr<RootMailbox> mailbox) {
    static std::once_flag once; // never undone: a thread may outlive its link
    std::call_once(once, [] { mosquitto_lib_init(); });
    sigset_t before;
    blockSignals(&before); // the thread inherits it, from its first instruction on
    std::thread([setup = std::move(setup), mailbox = std::move(mailbox)] {
        keepConnected(setup, *mailbox);
        mailbox->ended();
    }).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

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
