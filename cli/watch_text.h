// SPDX-License-Identifier: MIT
// What a watching person sees: events as lines, the running download and timers as the last one.
#ifndef CLI_WATCH_TEXT_H
#define CLI_WATCH_TEXT_H

#include "base/display.h"
#include "cli/node_watch.h"

#include <cstdint>
#include <string>
#include <vector>

namespace cli {

class TextWatch : public WatchView {
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
    void tick() override;

  private:
    struct Deadline {
        std::string name;
        std::int64_t endMs; // CLOCK_BOOTTIME, as the service counts
    };

    void line(const std::string &name, const std::string &text,
              base::Tone tone = base::Tone::plain);
    void takeTimers(const Node &node);
    [[nodiscard]] std::string timersText() const;

    base::Display display_;
    std::string stage_;
    std::string download_; // bar or numbers of the running download
    std::uint32_t toldPercent_ = 0;
    std::vector<Deadline> deadlines_;
};

/* What the node runs, and what boots next where that is something else. */
std::string softwareText(const Node &node);

/* "OTA_SW_... (running 4QZ...)": the word of a status record and the version that runs. */
std::string statusText(const std::string &record);

} // namespace cli

#endif
