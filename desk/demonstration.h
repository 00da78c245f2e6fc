// SPDX-License-Identifier: MIT
// All nodes of a demonstration, side by side until each has come to its end.
#ifndef DESK_DEMONSTRATION_H
#define DESK_DEMONSTRATION_H

#include "desk/display.h"
#include "desk/journey.h"
#include "desk/scene.h"

#include <chrono>
#include <deque>
#include <string>
#include <vector>

namespace desk {

class Demonstration {
  public:
    // Lines of a lone node, or of the one that takes the road, go to the display as they are;
    // others are marked with the node's name.
    Demonstration(const Scene &scene, const std::vector<Traveller> &travellers, Display &display);

    // What each of the nodes has shown, in their order.
    std::vector<Witness> run();

  private:
    using Clock = std::chrono::steady_clock;

    Journey *journeyOf(const std::string &mac);
    void waitForNews();
    [[nodiscard]] bool allReady();
    [[nodiscard]] bool allOver() const;
    void giveUp() const;

    const Scene &scene_;
    std::deque<Display> displays_; // the marked ones
    std::deque<Journey> journeys_;
};

} // namespace desk

#endif
