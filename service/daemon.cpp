// SPDX-License-Identifier: MIT
#include "service/daemon.h"

#include "base/timed.h"
#include "service/event_log.h"

#include <csignal>
#include <sys/epoll.h>
#include <systemd/sd-daemon.h>
#include <utility>

namespace service {

KeptState::KeptState(sd_event *loop, const node::Config &config)
    : book(disk, config.stateDirectory + "/requests.json"),
      history(disk, config.stateDirectory + "/history.jsonl", config.historySize,
              config.historyFiles, logError),
      counters(disk, config.stateDirectory + "/counters.json"), settings(config, disk),
      diskDone(loop, disk.fd(), EPOLLIN, [this](std::uint32_t) { disk.dispatch(); }) {}

Daemon::Daemon(sd_event *loop, Options options, const node::Config &config)
    : loop_(loop), options_(std::move(options)), config_(config), kept_(loop, config_),
      timers_(loop, [this](const std::string &name) { jobs_.queue().timerRanOut(name); }),
      board_(loop, config_, kept_.book, timers_, [this] { bus_.statusChanged(); }),
      handler_({config_, kept_.book, board_, bus_, kept_.history, kept_.counters, eventLog_, jobs_,
                kept_.settings, root_}),
      bus_(loop, options_.bus, handler_),
      eventLog_(loop, kept_.history, board_, bus_, kept_.counters),
      root_(loop, config_, bus_, board_, eventLog_),
      jobs_({loop, config_, options_.bootId, kept_.book, eventLog_, board_, bus_, timers_,
             options_.rebootPatience},
            {options_.host, options_.library, options_.config, config_.platform},
            [this](const cJSON &message) { hostCalls_.take(message); }),
      hostCalls_(jobs_, eventLog_, board_, bus_, root_, timers_),
      busIsLate_(loop, [this] { goOnWithoutBus(); }) {}

bool Daemon::start() {
    loadWhatWasKept();
    watchTheBus();
    if (const auto started = bus_.start(); !started) {
        logError(started.error().text);
        return false;
    }
    eventLog_.record({.event = "service-started"});
    busIsLate_.setInMs(options_.busPatience.count());
    return true;
}

int Daemon::run() {
    const Signalled terminated(loop_, SIGTERM, [this] { end(0); });
    const Signalled interrupted(loop_, SIGINT, [this] { end(0); });
    // The loop itself answers the watchdog: a daemon that hangs is started anew.
    sd_event_set_watchdog(loop_, 1);
    return start() ? sd_event_loop(loop_) : base::rowOf(base::Outcome::wrongUse).code;
}

void Daemon::loadWhatWasKept() {
    TicketsTold tickets;
    const auto counted = kept_.counters.load();
    kept_.history.load([&](const std::string &line) {
        tickets.take(line);
        kept_.counters.count(line);
    });
    kept_.history.numberFrom(kept_.counters.upTo());
    if (!counted) {
        eventLog_.record({.event = "counters-damaged",
                          .outcome = base::Outcome::failed,
                          .reasonCode = base::Reason::stateDamaged,
                          .reason = counted.error().text + "; counted anew from the history",
                          .next = "expect counters that are lower than before"});
    }
    if (const auto loaded = kept_.settings.load(); !loaded) {
        logError(loaded.error().text);
    }
    board_.setSettings(kept_.settings.inForce());
    loadBook(tickets);
    board_.setReport(kept_.book.ledger().lastWord, kept_.book.ledger().lastRecord);
    recallReasons();
}

// A ledger that gave no ticket yet is not the one that the history tells of.
void Daemon::loadBook(const TicketsTold &tickets) {
    auto loaded = kept_.book.load();
    if (!loaded) {
        eventLog_.record({.event = "state-damaged",
                          .outcome = base::Outcome::failed,
                          .reasonCode = loaded.error().reason,
                          .reason = loaded.error().text,
                          .next = base::rowOf(loaded.error().reason).remedy});
    } else if (kept_.book.ledger().nextTicket == 1) {
        loaded = base::Error{kept_.book.path() + " is missing", base::Reason::stateDamaged};
    }
    if (kept_.book.ledger().nextTicket == 1) {
        jobs_.queue().bookLost(tickets, loaded.error());
    }
    jobs_.queue().bookLoaded();
}

// How the last request ended, and why the waiting one waits, is in the history alone.
void Daemon::recallReasons() {
    const std::optional<WaitingOffer> &waiting = kept_.book.ledger().waiting;
    for (const std::string &line : kept_.history.newest(History::kNewest)) {
        if (const auto end = base::endOfLine(line.c_str())) {
            board_.setLastEnd(*end);
        }
        const base::Told told = base::toldIn(line.c_str());
        if (waiting && told.event == base::kAttemptFailed &&
            told.end.ticket == waiting->offer.ticket) {
            board_.setWaitReason(told.end.reasonCode, told.end.reason);
        }
    }
}

void Daemon::watchTheBus() {
    bus_.onEvents({.connected = [this] { nameTaken(); },
                   .lost = [](const std::string &why) { logError(why); },
                   .refused =
                       [this](const std::string &why) {
                           logError(why);
                           end(base::rowOf(base::Outcome::failed).code);
                       }});
}

// Whoever waits for the service can call it from now on.
void Daemon::nameTaken() {
    tellReady("STATUS=answers on the bus");
    bus_.statusChanged();
    startWork();
}

// A node that nobody hears must still prove and commit what it booted.
void Daemon::goOnWithoutBus() {
    eventLog_.record({.event = "bus-missing",
                      .outcome = base::Outcome::failed,
                      .reasonCode = base::Reason::busMissing,
                      .reason = "the message bus did not answer in " +
                                std::to_string(options_.busPatience.count() / base::kMsPerSecond) +
                                " s; the agent starts without it, and nobody hears its reports",
                      .next = "look for the bus; it is tried again every second"});
    tellReady("STATUS=works without the message bus, which is tried again");
    startWork();
}

// The agent reports at once, and so may other nodes: before the bus answers, nobody hears it.
void Daemon::startWork() {
    if (!std::exchange(works_, true)) {
        busIsLate_.cancel();
        root_.follow();
        jobs_.start();
    }
}

void Daemon::tellReady(const char *state) {
    sd_notify(0, state);
    if (!std::exchange(ready_, true)) {
        sd_notify(0, "READY=1");
    }
}

void Daemon::end(int exitCode) {
    sd_notify(0, "STOPPING=1");
    // What extenders sent is told before the loop ends, and with it the connection to the bus.
    root_.end();
    kept_.counters.keep();
    sd_event_exit(loop_, exitCode);
}

} // namespace service
