// SPDX-License-Identifier: MIT
// What the bus asks: judged by the guard, then handed on.
#ifndef SERVICE_REQUEST_HANDLER_H
#define SERVICE_REQUEST_HANDLER_H

#include "guard/setting.h"
#include "service/bus/bus_calls.h"
#include "service/event_log.h"
#include "service/job_runner.h"
#include "service/node_settings.h"
#include "service/root_uplink.h"
#include "service/sender_limit.h"
#include "service/state/disk_writer.h"
#include "service/state/explain.h"
#include "service/state/request_check.h"

#include "node/config/config.h"

#include <chrono>
#include <map>
#include <string>
#include <sys/types.h>

namespace service {

/* What the handler works with; all of it outlives the handler. */
struct Services {
    const node::Config &config;
    RequestBook &book;
    StatusBoard &board;
    BusService &bus;
    History &history;
    const Counters &counters;
    EventLog &eventLog;
    JobRunner &jobs;
    NodeSettings &settings;
    RootUplink &root;
};

class RequestHandler final : public BusCalls {
  public:
    explicit RequestHandler(const Services &services) : services_(services) {}

    void calledBy(uid_t user) override { caller_ = user; }
    void offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) override;
    void triggerMobileApp(int newswavailflag, Answer answer) override;
    void setActivationTime(std::string record, Answer answer) override;
    void cancel(std::uint64_t ticket, Answer answer) override;
    void commit(Answer answer) override;
    void forget(std::string version, Answer answer) override;
    void changeSetting(std::string name, std::string value, Answer answer) override;
    std::vector<std::string> history(std::uint32_t count) override;
    std::vector<std::pair<std::string, std::string>> explain() override;
    const std::map<std::string, std::uint64_t> &counters() override {
        return services_.counters.all();
    }
    const NodeStatus &status() override;

  private:
    std::optional<guard::Refusal> noAgent() const;
    std::optional<guard::Refusal> noAddress() const;
    Judge judge() const;
    bool isOverItsLimit(const Answer &answer);
    void tellSetting(guard::Setting setting, const std::string &value);
    void refuse(const guard::Refusal &refusal, const Answer &answer);

    /* An accepted request makes a dozen lines; a caller may send forty, and two a minute. */
    static constexpr std::chrono::seconds kNextRequest{30};

    Services services_;
    std::string lastRefusal_;
    uid_t caller_ = 0;
    SenderLimit requests_{kNextRequest};
    std::map<guard::Setting, std::string> toldSettings_;
};

} // namespace service

#endif
