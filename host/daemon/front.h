// SPDX-License-Identifier: MIT
// What the bus asks: judged by the guard, then handed on.
#ifndef HOST_DAEMON_FRONT_H
#define HOST_DAEMON_FRONT_H

#include "host/daemon/bus/bus_calls.h"
#include "host/daemon/chronicle.h"
#include "host/daemon/conductor.h"
#include "host/daemon/keep/disk_writer.h"
#include "host/daemon/keep/explain.h"
#include "host/daemon/keep/request_check.h"
#include "host/daemon/node_settings.h"
#include "host/daemon/root_road.h"
#include "host/daemon/sender_limit.h"
#include "host/guard/setting.h"

#include "platform/nal/config.h"

#include <chrono>
#include <map>
#include <string>
#include <sys/types.h>

namespace otad {

/* What the front speaks for; all of it outlives the front. */
struct House {
    const nal::Config &config;
    RequestBook &book;
    StatusBoard &board;
    BusService &bus;
    History &history;
    Chronicle &chronicle;
    Conductor &conductor;
    NodeSettings &settings;
    RootRoad &root;
};

class Front {
  public:
    explicit Front(const House &house) : house_(house) {}

    /* The user who makes the next calls. */
    void calledBy(uid_t user) { caller_ = user; }

    void offerImage(const std::string &descriptor, const host::guard::OfferFlags &flags,
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
    std::optional<host::guard::Refusal> noAgent() const;
    std::optional<host::guard::Refusal> noAddress() const;
    Judge judge() const;
    bool isOverItsLimit(const BusCalls::Answer &answer);
    void tellSetting(host::guard::Setting setting, const std::string &value);
    void refuse(const host::guard::Refusal &refusal, const BusCalls::Answer &answer);

    /* An accepted request makes a dozen lines; a caller may send forty, and two a minute. */
    static constexpr std::chrono::seconds kNextRequest{30};

    House house_;
    std::string lastRefusal_;
    uid_t caller_ = 0;
    SenderLimit requests_{kNextRequest};
    std::map<host::guard::Setting, std::string> toldSettings_;
};

} // namespace otad

#endif
