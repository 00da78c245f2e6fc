// SPDX-License-Identifier: MIT
// Tells every event of the node in three places: history file, bus, log.
#ifndef HOST_DAEMON_CHRONICLE_H
#define HOST_DAEMON_CHRONICLE_H

#include "host/daemon/bus/bus_service.h"
#include "host/daemon/keep/history.h"
#include "host/daemon/status_board.h"

#include <string>

namespace otad {

class Chronicle {
  public:
    Chronicle(History &history, const StatusBoard &board, BusService &bus)
        : history_(history), board_(board), bus_(bus) {}

    /* Time, node and stage are added here; a line without an outcome is one that went well. */
    void tell(HistoryLine line);

  private:
    void tellNow(HistoryLine line);

    History &history_;
    const StatusBoard &board_;
    BusService &bus_;
};

/* One line of the daemon's own log: "notice: otad: ...". */
void logNotice(const std::string &text);
void logWarning(const std::string &text);
void logError(const std::string &text);

} // namespace otad

#endif
