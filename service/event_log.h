// SPDX-License-Identifier: MIT
// Tells every event of the node in three places: history file, bus, log.
#ifndef SERVICE_EVENT_LOG_H
#define SERVICE_EVENT_LOG_H

#include "service/bus/bus_service.h"
#include "service/loop.h"
#include "service/sender_limit.h"
#include "service/state/history.h"
#include "service/status_board.h"

#include <string>
#include <string_view>

namespace service {

class EventLog {
  public:
    EventLog(sd_event *loop, History &history, const StatusBoard &board, BusService &bus)
        : history_(history), board_(board), bus_(bus), leftOut_(loop, [this] { tellLeftOut(); }) {}

    /* Time, node and stage are added here; a line without an outcome is one that went well. */
    void record(HistoryLine line);

    /*
     * Before a line is told that somebody else causes, who may cause any number of them by saying
     * `what`. What goes over the sender's budget is not to be told: it is counted, and comes in one
     * line.
     */
    SenderLimit::Verdict judge(const std::string &sender, std::string_view what);
    /* Of what was kept: it may be told now. */
    bool admitsNow(const std::string &sender, std::string_view what);
    /* What was over the budget is kept by whoever asks this, unless the answer is false. */
    bool keepsForLater(const std::string &sender) { return limit_.keepsForLater(sender); }
    bool isBehind() const { return history_.isBehind(); }

  private:
    void tellNow(HistoryLine line);
    void tellLeftOut();

    History &history_;
    const StatusBoard &board_;
    BusService &bus_;
    SenderLimit limit_;
    Alarm leftOut_;
};

/* One line of the daemon's own log: "notice: otad: ...". */
void logNotice(const std::string &text);
void logWarning(const std::string &text);
void logError(const std::string &text);

} // namespace service

#endif
