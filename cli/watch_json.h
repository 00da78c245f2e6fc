// SPDX-License-Identifier: MIT
// What a watching program reads: one JSON object a line.
#ifndef CLI_WATCH_JSON_H
#define CLI_WATCH_JSON_H

#include "cli/node_watch.h"

namespace cli {

class JsonWatch : public WatchView {
  public:
    void service(bool running) override;
    void snapshot(const Node &node) override;
    void status(const std::string &record) override;
    void stage(const Node &node) override;
    void software(const Node &node) override;
    void progress(const Node &node, const TransferRate &rate) override;
    void timers(const Node &node) override;
    void finished(const Finished &end) override;
    void extender(const std::string &mac, const std::string &record) override;
    void extenderFileServer(const std::string &mac, const std::string &info) override;
    void history(const std::string &line) override;
};

} // namespace cli

#endif
