// SPDX-License-Identifier: MIT
// Tells every event of the node in three places, history file, bus and log, and counts it.
#ifndef SERVICE_EVENT_LOG_H
#define SERVICE_EVENT_LOG_H

#include "service/bus/bus_service.h"
#include "service/loop.h"
#include "service/sender_limit.h"
#include "service/state/counters.h"
#include "service/state/history.h"
#include "service/status_board.h"

#include <string>
#include <string_view>

namespace service {

class EventLog {
  public:
    /* All of them outlive this. */
    EventLog(sd_event *loop, History &history, const StatusBoard &board, BusService &bus,
             Counters &counters)
        : history_(history), board_(board), bus_(bus), counters_(counters),
          leftOut_(loop, [this] { tellLeftOut(); }) {}

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

    /* The stage of the call that runs is over: the next line tells how long it lasted. */
    void endStage();

  private:
    void tellNow(HistoryLine line);
    StageLeft takeLeft(const HistoryLine &line);
    void tellLeftOut();

    History &history_;
    const StatusBoard &board_;
    BusService &bus_;
    Counters &counters_;
    std::string stage_; // that is measured; empty: none is
    std::int64_t stageSinceMs_ = 0;
    StageLeft left_; // and not yet told
    SenderLimit limit_;
    Alarm leftOut_;
};

/* One line of the daemon's own log: "notice: otad: ...". */
void logNotice(const std::string &text);
void logWarning(const std::string &text);
void logError(const std::string &text);

} // namespace service

#endif
