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

#include "platform/nal/config.h"

#include <string>

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
    std::optional<host::guard::Refusal> noAddress() const;
    Judge judge() const;
    void tell(const HistoryLine &line);
    void refuse(const host::guard::Refusal &refusal, const BusCalls::Answer &answer);

    House house_;
    std::string lastRefusal_;
};

} // namespace otad

#endif
