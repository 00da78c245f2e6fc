// SPDX-License-Identifier: MIT
// The link to the root node: messages to its broker, and on a gateway those of the extenders.
#ifndef SERVICE_UPLINK_ROOT_LINK_H
#define SERVICE_UPLINK_ROOT_LINK_H

#include "base/result.h"
#include "service/uplink/root_envelope.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace service {

class RootMailbox;

/* [root] of the node's configuration. */
struct RootConfig {
    std::string host;
    int port = 8883;
    std::string caCertificate;    // file that the broker's certificate is checked with
    std::string certificate, key; // this node's own, files; both may be empty
    std::string topic;            // what every topic begins with, as "otaSwAgent"
};

/* How patient the link is. Only tests want others than these. */
struct RootTimes {
    // Under the 5 s that the agent may lose, by what tick() and the loop around it may be late.
    std::chrono::milliseconds publish{4700};
    std::chrono::milliseconds connect{5000};       // one attempt, up to the broker's answer
    std::chrono::milliseconds shortestDelay{1000}; // before the second attempt, then doubled
    std::chrono::milliseconds longestDelay{10000};
};

/*
 * Every call is for one thread, the loop's, and none of them blocks; what the network does is on a
 * thread of the link's own. Topics are <topic>/<mac>/report and <topic>/<mac>/file-server.
 */
class RootLink {
  public:
    /* Called once, on the caller's thread; a success where a listener has the message. */
    using Published = std::function<void(const base::Result<void> &published)>;

    /*
     * Starts to connect, and to connect again whenever the connection is lost. `clientId` must be
     * this node's alone and the same after each start; `mac` is the node's own. With `listen` the
     * messages of every extender are taken, also those sent while this node was down.
     */
    RootLink(RootConfig config, std::string clientId, std::string mac, bool listen,
             RootTimes times = {});
    ~RootLink();
    RootLink(const RootLink &) = delete;
    RootLink &operator=(const RootLink &) = delete;

    /* Readable while dispatch() has something to do. */
    int fd() const;
    /*
     * Calls what waits, in order: `taken` for each message of an extender, `connection` whenever
     * the connection comes up or goes, and the answers to publish().
     */
    void dispatch(const std::function<void(const Unchecked &)> &taken,
                  const std::function<void(bool)> &connection);

    /*
     * Sends the text for this node. The answer comes through dispatch() or tick(), never from
     * inside this call, within RootTimes::publish; without a connection it is waited for as long.
     */
    void publish(FromExtender::Kind kind, std::string text, Published published);
    /* Ends what is overdue. To be called about every 100 ms while waiting() is true. */
    void tick();
    /*
     * Ends the connection; what was not confirmed is not sent later. Returns within half a second.
     * What has come by then waits for one more dispatch(): the broker does not send it again.
     */
    void end();
    bool waiting() const { return !waiting_.empty(); }
    /* The broker took this node in; on a listener, its subscriptions too. As of the last
     * dispatch(). */
    bool connected() const { return connected_; }
    /* Why there is no connection, one line with what to do; empty while there is one. */
    std::string problem() const;

  private:
    struct Waiting {
        Published published;
        std::chrono::steady_clock::time_point deadline;
        const char *what;
    };
    void answer(std::uint64_t id, const base::Result<void> &published);

    RootConfig config_;
    std::string mac_;
    RootTimes times_;
    std::shared_ptr<RootMailbox> mailbox_;
    std::map<std::uint64_t, Waiting> waiting_;
    std::uint64_t nextId_ = 1;
    bool connected_ = false;
};

} // namespace service

#endif
