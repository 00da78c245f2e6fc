// SPDX-License-Identifier: MIT
// The loop around the nodes.
#include "desk/demonstration.h"

#include "desk/failure.h"

#include <algorithm>
#include <poll.h>

namespace desk {
namespace {

constexpr int kTurnMs = 20;

} // namespace

Demonstration::Demonstration(const Scene &scene, const std::vector<Traveller> &travellers,
                             Display &display)
    : scene_(scene) {
    const auto onRoad = std::count_if(travellers.begin(), travellers.end(),
                                      [](const Traveller &node) { return node.takesRoad; });
    for (const Traveller &traveller : travellers) {
        const bool alone = traveller.takesRoad && onRoad == 1;
        Display &own = alone ? display : displays_.emplace_back(display.marked(traveller.name));
        journeys_.emplace_back(
            scene, traveller, own,
            [this](const std::string &mac, const cJSON *report) {
                if (Journey *const journey = journeyOf(mac)) {
                    journey->reportedAtTheRoot(report);
                }
            },
            [this](const std::string &mac, const cJSON *info) {
                if (Journey *const journey = journeyOf(mac)) {
                    journey->handedOverAtTheRoot(info);
                }
            });
    }
}

std::vector<Witness> Demonstration::run() {
    const auto deadline = Clock::now() + scene_.options.limit;
    for (Journey &journey : journeys_) {
        journey.boot();
    }
    bool started = false;
    while (!allOver()) {
        waitForNews();
        for (Journey &journey : journeys_) {
            journey.turn();
        }
        // Nobody upgrades before the root listens: what it never heard of, it would not ask for.
        started = started || allReady();
        for (Journey &journey : journeys_) {
            if (started) {
                journey.goOn();
            }
        }
        if (Clock::now() > deadline) {
            giveUp();
        }
    }
    std::vector<Witness> witnesses;
    for (Journey &journey : journeys_) {
        journey.end();
        witnesses.push_back(journey.witness());
    }
    return witnesses;
}

// The root's own journey hears of all others, and of itself.
Journey *Demonstration::journeyOf(const std::string &mac) {
    const auto found =
        std::find_if(journeys_.begin(), journeys_.end(), [&](const Journey &journey) {
            return journey.traveller().identity.mac == mac;
        });
    return found == journeys_.end() ? nullptr : &*found;
}

void Demonstration::waitForNews() {
    std::vector<pollfd> waiting{{scene_.interrupt.fd(), POLLIN, 0}};
    for (const Journey &journey : journeys_) {
        waiting.push_back({journey.fd(), POLLIN, 0});
    }
    poll(waiting.data(), waiting.size(), kTurnMs);
    scene_.interrupt.check();
}

bool Demonstration::allReady() {
    return std::all_of(journeys_.begin(), journeys_.end(),
                       [](Journey &journey) { return journey.ready(); });
}

bool Demonstration::allOver() const {
    return std::all_of(journeys_.begin(), journeys_.end(),
                       [](const Journey &journey) { return journey.over(); });
}

void Demonstration::giveUp() const {
    const auto late = std::find_if(journeys_.begin(), journeys_.end(), [](const Journey &journey) {
        return !journey.over() && journey.traveller().takesRoad;
    });
    const Journey &journey = late == journeys_.end() ? journeys_.front() : *late;
    throw Failure(journey.traveller().name + " did not come to an end within " +
                  std::to_string(scene_.options.limit.count()) + " s; its last step was \"" +
                  journey.display().lastStep() + "\"");
}

} // namespace desk
