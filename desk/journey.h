// SPDX-License-Identifier: MIT
// One node on its road, from the first boot to its end, shown step by step.
#ifndef DESK_JOURNEY_H
#define DESK_JOURNEY_H

#include "desk/display.h"
#include "desk/node_log.h"
#include "desk/scene.h"
#include "desk/service.h"
#include "desk/story.h"

#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace desk {

// What a node that took a road has shown.
struct Witness {
    std::vector<std::string> boots;           // the versions that booted, in order
    std::vector<std::string> words;           // status words, in order
    std::vector<std::string> atTheRoot;       // those of them that the gateway raised on its bus
    std::vector<std::string> failedDownloads; // why each attempt failed
    std::string refusal;                      // why the passive bank was not taken, by the node
    bool handedOver = false;                  // the gateway raised where the image is
    bool early = false;                       // it activated before the time that was set
    bool powerCut = false;
    std::uint64_t changes = 0; // of its storage, where the power is to be cut at one
    bool takenUp = false;      // it went on with what had broken off
};

class Journey {
  public:
    // Is told what a gateway raises for the node of this hardware address: a report, or where the
    // image is.
    using Raised = std::function<void(const std::string &mac, const cJSON *report)>;

    Journey(const Scene &scene, const Traveller &traveller, Display &display, Raised reported,
            Raised handedOver);

    void boot();
    [[nodiscard]] int fd() const { return service_.fd(); }
    // Takes what the node told, and reboots it where it asked for that. Never waits long.
    void turn();
    // True once the node has started and knows its root, where there is one.
    bool ready();
    // Takes the next step of the road where the node is ready for it.
    void goOn();
    // The node is idle, all steps are done, every ticket came to its end, every word to the root.
    [[nodiscard]] bool over() const { return over_; }
    // Ends the node in order.
    void end();

    // The gateway raised this of the node.
    void reportedAtTheRoot(const cJSON *report);
    void handedOverAtTheRoot(const cJSON *info);

    [[nodiscard]] const Traveller &traveller() const { return traveller_; }
    [[nodiscard]] const Display &display() const { return display_; }
    [[nodiscard]] const Witness &witness() const { return witness_; }

  private:
    using Clock = std::chrono::steady_clock;

    void takeEvents();
    void take(const cJSON *event);
    void takeStatus(const cJSON *event);
    void takeProgress(const cJSON *event);
    void takeFinished(const cJSON *event);
    void takeHistory(const cJSON *line);
    void tellTimer(const std::string &event, const std::string &reason);
    void tellCrash(const std::string &reason, const std::string &next);
    void tell(const std::optional<Tale> &tale);
    void tellNews();

    bool look();
    [[nodiscard]] bool mayTake(Step step);
    [[nodiscard]] bool beforeTheTime() const;
    [[nodiscard]] bool wordsArrived();
    [[nodiscard]] bool isProven() const;
    [[nodiscard]] bool cutAtTheEnd();
    void take(Step step);
    void damageBank();
    void offer(const std::string &url);
    void trigger();
    void moveActivationTime();

    void rebootOnceQuiet();
    void cutPower();
    void afterTheCut();
    bool offerAgain();
    void drain();

    const Scene &scene_;
    const Traveller &traveller_;
    Display &display_;
    Raised reported_;
    Raised handedOver_;
    Service service_;
    Story story_;
    NodeLog log_;
    Witness witness_;
    std::string lastReport_; // that the gateway raised
    std::string why_;        // the last thing that went wrong, in the node's own words
    std::string passed_;     // the timer that the desk let pass

    std::vector<Step> steps_;      // that are still to do
    std::set<std::uint64_t> open_; // tickets without an end
    bool cutPending_ = false;
    int offersLeft_ = 0;   // after a power cut that took the first one away
    bool running_ = false; // the daemon has its name on the bus
    int lastPercent_ = 0;  // of the download
    int crashes_ = 0;      // of the host, since it last did something
    bool over_ = false;
    Clock::time_point lastEvent_{};
    Clock::time_point nextLook_{};
    std::optional<Clock::time_point> rebootAsked_;
    std::optional<Clock::time_point> endedAt_;
    std::optional<Clock::time_point> windowDue_; // when the mobile app's file must be there
    std::optional<std::time_t> activationAt_;    // that was set

    // At the last look.
    bool isReady_ = false;
    bool isSettled_ = false; // no call runs, none is queued
    bool isIdle_ = false;    // and nothing is awaited
};

} // namespace desk

#endif
