// SPDX-License-Identifier: MIT
// What the service keeps on the disk, written by one thread: requests, history, settings.
#ifndef SERVICE_KEPT_STATE_H
#define SERVICE_KEPT_STATE_H

#include "service/loop.h"
#include "service/node_settings.h"
#include "service/request_book.h"
#include "service/state/disk_writer.h"
#include "service/state/history.h"

#include "node/config.h"

namespace service {

struct KeptState {
    /* The configuration outlives it. */
    KeptState(sd_event *loop, const node::Config &config);

    DiskWriter disk;
    RequestBook book;
    History history;
    NodeSettings settings;
    Watched diskDone;
};

} // namespace service

#endif
