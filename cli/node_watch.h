// SPDX-License-Identifier: MIT
// Follows a node over the bus, also while its service or the bus itself restarts.
#ifndef CLI_NODE_WATCH_H
#define CLI_NODE_WATCH_H

#include "cli/answer.h"
#include "cli/bus_client.h"
#include "cli/node.h"
#include "cli/transfer_rate.h"

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cli {

/* What a watcher is told, in the order of the bus; what it does not override, it does not hear.
 * Texts are as they came. */
class WatchView {
  public:
    WatchView() = default;
    virtual ~WatchView() = default;
    WatchView(const WatchView &) = delete;
    WatchView &operator=(const WatchView &) = delete;

    /* Told first of all, then on every change. */
    virtual void service(bool /*running*/) {}
    /* Once after every appearance of the service. */
    virtual void snapshot(const Node & /*node*/) {}
    virtual void status(const std::string & /*record*/) {}
    virtual void stage(const Node & /*node*/) {}
    /* What runs or what boots next is another one. */
    virtual void software(const Node & /*node*/) {}
    virtual void progress(const Node & /*node*/, const TransferRate & /*rate*/) {}
    virtual void timers(const Node & /*node*/) {}
    virtual void finished(const Finished & /*end*/) {}
    virtual void extender(const std::string & /*mac*/, const std::string & /*record*/) {}
    virtual void extenderFileServer(const std::string & /*mac*/, const std::string & /*info*/) {}
    virtual void history(const std::string & /*line*/) {}
    /* About once a second, and after everything else that is told. */
    virtual void tick() {}
};

/* Where following ends; with neither it goes on for ever. */
struct Until {
    bool idle = false;                   // nothing runs, waits or is queued
    std::optional<std::uint64_t> ticket; // this request came to its end
};

class NodeWatch {
  public:
    /* Connects and subscribes, so that nothing is missed from here on. Throws Failure. */
    NodeWatch(std::string address, WatchView &view);

    BusClient &client() { return *client_; }
    /* Tells the view everything. Returns the end of the ticket where that was waited for; finds
     * it in the history where it was told while nobody listened. Throws Failure. */
    std::optional<Finished> follow(const Until &until);

  private:
    using Slot = service::BusSlot;
    using Handler = void (NodeWatch::*)(sd_bus_message *);

    void connect();
    void reconnect();
    void ownerIs(const std::string &owner);
    void askForNode();
    void askForHistory();
    [[nodiscard]] bool ended() const;

    template <Handler handler>
    static int handle(sd_bus_message *message, void *self, sd_bus_error *error);
    void onOwnerChanged(sd_bus_message *message);
    void onSignal(sd_bus_message *message);
    void onProperties(sd_bus_message *message);
    void onNode(sd_bus_message *answer);
    void onHistory(sd_bus_message *answer);

    std::string address_;
    WatchView &view_;
    Until until_;
    std::optional<Finished> finished_;
    std::pair<std::uint64_t, std::string> reasonCode_; // of the ticket whose end is told next
    std::exception_ptr failure_; // of a handler: C stands between it and the caller

    Node node_;
    bool known_ = false; // the snapshot is there
    TransferRate rate_;
    std::string owner_; // of the service's name, empty: not running

    std::unique_ptr<BusClient> client_;
    Slot ownerMatch_, signalMatch_, nodeCall_, historyCall_; // gone before their bus
};

} // namespace cli

#endif
