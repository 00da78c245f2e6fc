// SPDX-License-Identifier: MIT
// What the node tells about itself, kept up to date from where it happens.
#ifndef SERVICE_STATUS_BOARD_H
#define SERVICE_STATUS_BOARD_H

#include "service/bus/node_status.h"
#include "service/loop.h"
#include "service/node_timers.h"
#include "service/request_book.h"

#include "base/bank_note.h"
#include "node/config/config.h"

#include <ctime>
#include <functional>
#include <string>

namespace service {

class StatusBoard {
  public:
    /* `changed` is called behind every change, from the loop. All references outlive the board. */
    StatusBoard(sd_event *loop, const node::Config &config, const RequestBook &book,
                const NodeTimers &timers, std::function<void()> changed);

    /* What the host said of the call that runs; "" once none runs. */
    void setStage(const std::string &stage);
    void setReport(const std::string &word, const std::string &record);
    /* Whether the other bank was activated, and the reboot into it is late. */
    enum class Reboot { none, due, overdue };
    void setReboot(Reboot reboot);
    /* What the host takes for the node's address; counts where this process sees no bridge. */
    void setHostMac(const std::string &mac);
    /* Asks for the node's address anew. */
    void lookAtAddress();
    void setSettings(const node::Config &config);
    /* Why the waiting offer waits, until the next call begins. */
    void setWaitReason(const std::string &code, const std::string &sentence);
    /* How the host process ended that is being started again; an empty sentence: it has started. */
    void setHostFailure(const base::Error &failure);
    void setLastEnd(const base::End &end);
    void setRootConnected(bool connected);
    /* As the host read it. */
    void setBanks(const base::BankNews &news);
    /* Timers, queue or ticket are others now. */
    void refresh();

    /* What lies in the tmp directory of an image that is not in a bank yet; 0: nothing. */
    std::uint64_t bytesOfImage(const std::string &version) const;

    /* With uptime and remaining seconds of this moment. */
    const NodeStatus &status();
    const NodeStatus &lastStatus() const { return status_; }
    /* "a" or "b", and what runs from it; empty while unknown. */
    const std::string &activeBank() const { return activeBank_; }
    const std::string &runningVersion() const { return status_.runningVersion; }

  private:
    void lookAtDownload();
    std::string restingStage() const;
    void showWaitReason();

    const node::Config &config_;
    const RequestBook &book_;
    const NodeTimers &timers_;
    std::function<void()> changed_;
    NodeStatus status_;
    std::string callStage_; // of the call that runs
    Reboot reboot_ = Reboot::none;
    base::Error hostFailure_;
    std::pair<std::string, std::string> waitReason_; // code and sentence, of the request
    std::string hostMac_;
    bool sawBridge_ = false;
    std::time_t downloadSince_ = 0;
    std::string activeBank_;
    Alarm glance_;
};

} // namespace service

#endif
