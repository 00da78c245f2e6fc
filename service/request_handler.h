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

#include "node/config.h"

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
    EventLog &eventLog;
    JobRunner &jobs;
    NodeSettings &settings;
    RootUplink &root;
};

class RequestHandler {
  public:
    explicit RequestHandler(const Services &services) : services_(services) {}

    /* The user who makes the next calls. */
    void calledBy(uid_t user) { caller_ = user; }

    void offerImage(const std::string &descriptor, const guard::OfferFlags &flags,
                    const BusCalls::Answer &answer);
    void triggerMobileApp(int newswavailflag, const BusCalls::Answer &answer);
    void setActivationTime(const std::string &record, const BusCalls::Answer &answer);
    /* Of the bank that runs. */
    void commit(const BusCalls::Answer &answer);
    /* Of a version that failed its trial. */
    void forget(const std::string &version, const BusCalls::Answer &answer);
    void changeSetting(const std::string &name, const std::string &value,
                       const BusCalls::Answer &answer);
    std::vector<std::pair<std::string, std::string>> explain();

  private:
    std::optional<guard::Refusal> noAgent() const;
    std::optional<guard::Refusal> noAddress() const;
    Judge judge() const;
    bool isOverItsLimit(const BusCalls::Answer &answer);
    void tellSetting(guard::Setting setting, const std::string &value);
    void refuse(const guard::Refusal &refusal, const BusCalls::Answer &answer);

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
