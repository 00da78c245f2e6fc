// SPDX-License-Identifier: MIT
// What the loop's thread and the network's thread leave for each other.
#ifndef SERVICE_UPLINK_ROOT_MAILBOX_H
#define SERVICE_UPLINK_ROOT_MAILBOX_H

#include "base/file_io.h"
#include "base/reason.h"
#include "service/uplink/root_envelope.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace service {

using RootClock = std::chrono::steady_clock;

/* A message for the broker. Nobody hands it to the library at or after its deadline. */
struct Outgoing {
    std::uint64_t id;
    std::string topic, text;
    RootClock::time_point deadline;
};

/* The answer to one Outgoing; without a reason: a listener has it. */
struct PublishAnswer {
    std::uint64_t id;
    base::Result<void> published{};
};

struct ConnectionChange {
    bool up;
};

using RootEvent = std::variant<Unchecked, ConnectionChange, PublishAnswer>;

/* An eventfd: set until it is cleared, however often it was set. */
class Flag {
  public:
    Flag();
    int fd() const { return fd_.get(); }
    void set() const;
    void clear() const;

  private:
    base::UniqueFd fd_;
};

/* Every call is for any thread and waits for nothing but a short lock, but waitForEnd. */
class RootMailbox {
  public:
    /* From the loop to the network. */
    void send(Outgoing message);
    /* True: it was still here and will never be sent. */
    bool withdraw(std::uint64_t id);
    void askToEnd();
    /* True: the network's thread is through. */
    bool waitForEnd(std::chrono::milliseconds patience);

    /* From the network to the loop; events().fd() is readable while takeEvents has some. */
    void tell(RootEvent event);
    std::vector<RootEvent> takeEvents();
    const Flag &events() const { return events_; }
    void setProblem(std::string line);
    std::string problem() const;

    /* For the network: wake() is set by send, askToEnd and takeEvents. */
    const Flag &wake() const { return wake_; }
    bool shouldEnd() const;
    void ended();
    bool hasOutgoing() const;
    /* The next message whose deadline is not over. */
    std::optional<Outgoing> takeOutgoing();
    /* A lost connection took it along unanswered: it is first in the queue again. */
    void giveBack(Outgoing message);
    /* True: the loop is behind, and nothing more is to be read from the network. */
    bool isFull() const;

  private:
    mutable std::mutex mutex_;
    std::condition_variable endChanged_;
    Flag wake_, events_;
    std::list<Outgoing> outgoing_;
    std::vector<RootEvent> waitingEvents_;
    std::size_t waitingBytes_ = 0;
    std::string problem_;
    bool shouldEnd_ = false, ended_ = false;
};

} // namespace service

#endif
