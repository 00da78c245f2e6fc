// SPDX-License-Identifier: MIT
// Boots a node's host process, hands it events one at a time and answers its calls.
#ifndef DESK_SUPERVISOR_H
#define DESK_SUPERVISOR_H

#include "desk/child.h"
#include "desk/named_timers.h"
#include "desk/node_folder.h"

#include "host/channel.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace desk {

struct HostProgram {
    std::filesystem::path program;
    std::filesystem::path library;
    std::filesystem::path log;
    bool fast = false;           // sleeps pass at once
    std::uint64_t fileLimit = 0; // bytes that a file of the host may grow to; 0: no limit
};

// Is told what the node does, as it happens.
class Observer {
  public:
    virtual ~Observer() = default;
    virtual void booted(const NodeBoot &boot) = 0;
    virtual void signalled(const std::string &name, const std::string &data) = 0;
    virtual void rootNotified(const std::string &text) = 0;
    virtual void timerStarted(const std::string &name, int seconds) = 0;
    virtual void timerStopped(const std::string &name) = 0;
    virtual void timerRanOut(const std::string &name) = 0;
    virtual void rebooting() = 0;
};

class Supervisor {
  public:
    Supervisor(const NodeFolder &folder, HostProgram host, bool virtualTime, Observer &observer,
               const Interrupt &interrupt);

    // Starts the host on the bank that boots next. Start-up goes on during the turns.
    void boot();
    // True while the host waits for an event.
    [[nodiscard]] bool idle() const { return state_ == State::idle; }
    // Hands the idle host an event.
    void send(const cJSON *event);
    // Hands the idle host the event of a timer that ran out; false where none did.
    bool sendDueTimer();
    [[nodiscard]] bool timersRun() const { return !timers_.empty(); }
    // Ends the host in the middle of whatever it does, and boots again.
    void cutPower();
    // Waits a moment for the host, answers what it asks, reboots where it asked for that.
    void turn();
    // Ends the idle host in order.
    void shutDown();

  private:
    enum class State { off, busy, idle };
    using Clock = std::chrono::steady_clock;

    void readChannel();
    void handle(const cJSON *message);
    void answer(const cJSON *message, const std::string &call);
    void eventDone();
    void reboot();
    [[noreturn]] void hostEnded(const std::string &why);

    void onSignal(const cJSON *message);
    void onNotifyRoot(const cJSON *message);
    void onStartTimer(const cJSON *message);
    void onStopTimer(const cJSON *message);
    void onReboot(const cJSON *message);

    const NodeFolder &folder_;
    HostProgram host_;
    NamedTimers timers_;
    Observer &observer_;
    const Interrupt &interrupt_;
    Child process_;
    std::optional<host::Channel> channel_;
    State state_ = State::off;
    std::optional<Clock::time_point> rebootAtLatest_;
};

} // namespace desk

#endif
