// SPDX-License-Identifier: MIT
#include "service/kept_state.h"

#include "service/event_log.h"

#include <sys/epoll.h>

namespace service {

KeptState::KeptState(sd_event *loop, const node::Config &config)
    : book(disk, config.stateDirectory + "/requests.json"),
      history(disk, config.stateDirectory + "/history.jsonl", config.historySize,
              config.historyFiles, logError),
      settings(config, disk),
      diskDone(loop, disk.fd(), EPOLLIN, [this](std::uint32_t) { disk.dispatch(); }) {}

} // namespace service
