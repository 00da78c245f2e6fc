// SPDX-License-Identifier: MIT
#include "service/uplink/mqtt_thread.h"

#include <algorithm>
#include <csignal>
#include <mutex>
#include <poll.h>
#include <pthread.h>
#include <thread>
#include <utility>

namespace service {
namespace {

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

} // namespace

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

} // namespace service
