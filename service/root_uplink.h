// SPDX-License-Identifier: MIT
// The uplink between extenders and root, in whatever role this node has at the moment.
#ifndef SERVICE_ROOT_UPLINK_H
#define SERVICE_ROOT_UPLINK_H

#include "service/bus/bus_service.h"
#include "service/event_log.h"
#include "service/loop.h"
#include "service/status_board.h"
#include "service/uplink/root_link.h"

#include "node/config/config.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace service {

class RootUplink {
  public:
    /* All of them outlive the uplink. */
    RootUplink(sd_event *loop, const node::Config &config, BusService &bus, StatusBoard &board,
               EventLog &eventLog)
        : loop_(loop), config_(config), bus_(bus), board_(board), eventLog_(eventLog),
          tick_(loop, [this] { tick(); }), look_(loop, [this] { follow(); }) {}

    /*
     * Asks for the node's address, and connects, or connects anew, where address and role are known
     * and others now. From the first call on it is done every few seconds.
     */
    void follow();
    /*
     * Sends the text to the root. What a gateway hands over is raised on its own bus: it is the
     * root. The answer comes from the loop or at once, within 5 s, and always.
     */
    void publish(FromExtender::Kind kind, const std::string &text, RootLink::Published answer);
    /* Ends the link. What came over it is told first: the broker does not send it again. */
    void end();

  private:
    void dispatch();
    void take(const Unchecked &message);
    void tellChecked(const Unchecked &unchecked);
    void tick();
    void tell(const char *event, base::Outcome outcome, const base::Error &cause);
    void tellPublished(const base::Result<void> &published);
    base::Result<void> raiseFileServer(const std::string &mac, const std::string &info);

    sd_event *loop_;
    const node::Config &config_;
    BusService &bus_;
    StatusBoard &board_;
    EventLog &eventLog_;
    std::unique_ptr<RootLink> link_;
    std::optional<Watched> watched_;
    bool followLater_ = false; // once nobody waits for an answer of the present link
    std::string linkedMac_;
    bool listens_ = false;
    bool paused_ = false; // until the disk has caught up
    // Of a sender that was over its budget, its last word, by its name.
    std::map<std::string, Unchecked> late_;
    Alarm tick_;
    Alarm look_;
};

} // namespace service

#endif
