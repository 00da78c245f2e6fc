// SPDX-License-Identifier: MIT
// One upgrade from the offer to its end, shown step by step.
#ifndef DESK_DEMONSTRATION_H
#define DESK_DEMONSTRATION_H

#include "desk/display.h"
#include "desk/file_server.h"
#include "desk/image.h"
#include "desk/log_story.h"
#include "desk/progress.h"
#include "desk/roads.h"
#include "desk/supervisor.h"

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace desk {

// What a node that took a road has shown.
struct Witness {
    std::vector<std::string> words; // status words, in order
    std::size_t rootNotifications = 0;
    bool handedOver = false;
};

class Demonstration : private Observer {
  public:
    Demonstration(const Options &options, const Road &road, const NodeFolder &node,
                  const FileServer &server, const Image &image, const HostProgram &host,
                  Display &display, const Interrupt &interrupt);

    // Ends when the node is idle, all steps are done and no timer runs.
    Witness run();

  private:
    using Clock = std::chrono::steady_clock;

    void booted(const NodeBoot &boot) override;
    void signalled(const std::string &name, const std::string &data) override;
    void rootNotified(const std::string &text) override;
    void timerStarted(const std::string &name, int seconds) override;
    void timerStopped(const std::string &name) override;
    void timerRanOut(const std::string &name) override;
    void rebooting() override;

    void take(Step step);
    void damageBank();
    void offer(const std::string &url);
    void trigger();
    void moveActivationTime();
    void cutPowerDuringDownload();
    void tellNews();
    void tellHandOff();

    const Options &options_;
    const Road &road_;
    const NodeFolder &node_;
    const FileServer &server_;
    const Image &image_;
    Display &display_;
    ProgressFile progress_;
    LogStory story_;
    Supervisor supervisor_;
    Witness witness_;
    bool fast_;
    bool cutPending_ = false;
};

} // namespace desk

#endif
