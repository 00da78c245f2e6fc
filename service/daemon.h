// SPDX-License-Identifier: MIT
// The daemon: its parts in the order in which they need each other, and its run.
#ifndef SERVICE_DAEMON_H
#define SERVICE_DAEMON_H

#include "node/config/config.h"
#include "service/host_calls.h"
#include "service/loop.h"
#include "service/node_settings.h"
#include "service/options.h"
#include "service/request_book.h"
#include "service/request_handler.h"
#include "service/state/counters.h"
#include "service/state/disk_writer.h"
#include "service/state/history.h"

#include <memory>
#include <optional>
#include <string>

namespace service {

/* What the service keeps on the disk, written by one thread. */
struct KeptState {
    /* The configuration outlives it. */
    KeptState(sd_event *loop, const node::Config &config);

    DiskWriter disk;
    RequestBook book;
    History history;
    Counters counters;
    NodeSettings settings;
    Watched diskDone;
};

class Daemon {
  public:
    Daemon(sd_event *loop, Options options, const node::Config &config);
    ~Daemon() { root_.end(); }
    Daemon(const Daemon &) = delete;
    Daemon &operator=(const Daemon &) = delete;

    /*
     * Takes up what was kept, asks for the name on the bus and then starts the host; all of it goes
     * on in the loop. False: it can never work, which was logged.
     */
    bool start();
    /* start(), then until the service is told to end, or cannot go on; the exit code. */
    int run();

    /* What the bus asks. */
    BusCalls &calls() { return handler_; }

  private:
    void loadWhatWasKept();
    void loadBook(const TicketsTold &tickets);
    void recallReasons();
    void watchTheBus();
    void nameTaken();
    void goOnWithoutBus();
    void startWork();
    void tellReady(const char *state);
    void end(int exitCode);

    sd_event *loop_;
    Options options_;
    node::Config config_;
    KeptState kept_;
    NodeTimers timers_;
    StatusBoard board_;
    RequestHandler handler_;
    BusService bus_;
    EventLog eventLog_;
    RootUplink root_;
    JobRunner jobs_;
    HostCalls hostCalls_;
    Alarm busIsLate_;
    bool ready_ = false;
    bool works_ = false;
};

} // namespace service

#endif
