// SPDX-License-Identifier: MIT
// The road between extenders and root as this node takes it, whatever its role is just now.
#ifndef HOST_DAEMON_ROOT_ROAD_H
#define HOST_DAEMON_ROOT_ROAD_H

#include "host/daemon/bus/bus_service.h"
#include "host/daemon/chronicle.h"
#include "host/daemon/loop.h"
#include "host/daemon/root/root_link.h"
#include "host/daemon/status_board.h"

#include "platform/nal/config.h"

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace otad {

class RootRoad {
  public:
    /* All of them outlive the road. */
    RootRoad(sd_event *loop, const nal::Config &config, BusService &bus, StatusBoard &board,
             Chronicle &chronicle)
        : loop_(loop), config_(config), bus_(bus), board_(board), chronicle_(chronicle),
          tick_(loop, [this] { tick(); }), look_(loop, [this] { follow(); }) {}

    /*
     * Asks for the node's address, and connects, or connects anew, where address and role are known
     * and others now. From the first call on it is done every few seconds.
     */
    void follow();
    /*
     * Sends the text to the root. What a gateway hands over is raised on its own bus: it is the
     * root. The answer comes from the loop or at once, within 5 s, and always: without a reason, or
     * why it could not be told.
     */
    void publish(FromExtender::Kind kind, const std::string &text, RootLink::Published answer);

  private:
    void dispatch();
    void take(const Unchecked &message);
    void tellChecked(const Unchecked &unchecked);
    void tick();
    void tell(const char *event, host::Outcome outcome, const host::Cause &cause);
    void tellPublished(const host::Cause &failure);
    host::Cause raiseFileServer(const std::string &mac, const std::string &info);

    sd_event *loop_;
    const nal::Config &config_;
    BusService &bus_;
    StatusBoard &board_;
    Chronicle &chronicle_;
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

} // namespace otad

#endif
