// SPDX-License-Identifier: MIT
// The daemon: its parts in the order in which they need each other, and its run.
#ifndef SERVICE_DAEMON_H
#define SERVICE_DAEMON_H

#include "service/host_calls.h"
#include "service/options.h"
#include "service/request_handler.h"

#include <memory>
#include <optional>
#include <string>

namespace service {

class Daemon final : public BusCalls {
  public:
    Daemon(sd_event *loop, Options options, const node::Config &config);

    /*
     * Takes up what was kept, asks for the name on the bus and then starts the host; all of it goes
     * on in the loop. False: it can never work, which was logged.
     */
    bool start();
    /* start(), then until the service is told to end, or cannot go on; the exit code. */
    int run();

    void calledBy(uid_t user) override { handler_.calledBy(user); }
    void offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) override;
    void triggerMobileApp(int newswavailflag, Answer answer) override;
    void setActivationTime(std::string record, Answer answer) override;
    void cancel(std::uint64_t ticket, Answer answer) override;
    void commit(Answer answer) override;
    void forget(std::string version, Answer answer) override;
    void changeSetting(std::string name, std::string value, Answer answer) override;
    std::vector<std::string> history(std::uint32_t count) override;
    std::vector<std::pair<std::string, std::string>> explain() override;
    const NodeStatus &status() override;

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
    DiskWriter disk_;
    RequestBook book_;
    History history_;
    NodeSettings settings_;
    NodeTimers timers_;
    StatusBoard board_;
    BusService bus_;
    EventLog eventLog_;
    RootUplink root_;
    JobRunner jobs_;
    HostCalls hostCalls_;
    RequestHandler handler_;
    Watched diskDone_;
    Alarm busIsLate_;
    bool ready_ = false;
    bool works_ = false;
};

} // namespace service

#endif
