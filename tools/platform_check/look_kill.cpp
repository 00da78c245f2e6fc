// SPDX-License-Identifier: MIT
// The process ends by force at each point of a call where a disk changes, and a new one must find a
// node that is whole.
#include "tools/platform_check/ground.h"

#include <algorithm>
#include <cstring>

namespace check {
namespace {

// Before the call, in processes of their own; the call itself; and what must be so behind it.
struct Scene {
    std::function<void(Ground &)> before;
    std::function<void(const Platform &)> call;
    std::function<void(Ground &)> behind;
};

int runTo(Ground &ground, const Scene &scene, int point) {
    ground.renew(true);
    scene.before(ground);
    return ground.player().playKilledAt(
        [&](Platform &platform) {
            shared().counts = true;
            scene.call(platform);
            shared().counts = false;
        },
        point);
}

// All points, or where these are too many the first and last ones and some between.
std::vector<int> pointsOf(int all, int most) {
    std::vector<int> points;
    points.reserve(static_cast<std::size_t>(std::min(all, most)));
    if (all <= most) {
        for (int point = 1; point <= all; ++point) {
            points.push_back(point);
        }
        return points;
    }
    const int third = std::max(1, most / 3);
    for (int at = 0; at < most; ++at) {
        const int point = at < third        ? at + 1
                          : at >= 2 * third ? all - most + at + 1
                                            : third + 1 + (at - third) * (all - 2 * third) / third;
        points.push_back(std::min(point, all));
    }
    points.erase(std::unique(points.begin(), points.end()), points.end());
    return points;
}

void killEverywhere(Ground &ground, const Scene &scene) {
    constexpr int kNever = 1 << 30;
    const int all = runTo(ground, scene, kNever);
    const std::vector<int> points = pointsOf(all, ground.options().killPoints);
    for (const int point : points) {
        const int reached = runTo(ground, scene, point);
        try {
            scene.behind(ground);
        } catch (const Wrong &wrong) {
            throw Wrong{"killed at the change number " + std::to_string(point) + " of " +
                            std::to_string(std::max(all, reached)) + ": " + wrong.came,
                        wrong.contract, wrong.device};
        }
    }
    ground.remark(all == 0
                      ? "it changes no disk"
                      : "it changes a disk " + std::to_string(all) + " times, and was killed at " +
                            std::to_string(points.size()) + " of them");
}

void requireVersion(const std::string &running) {
    if (running != shared().running.data()) {
        throw Wrong{"nal_getCurSwVersion gives " + inQuotes(shared().running.data()) +
                    " instead of " + inQuotes(running)};
    }
}

// The bank that is called whole holds what was to be written.
void requireWhole(Ground &ground, const std::string &image) {
    if (shared().other[0] == '\0' || ground.options().bankA.empty()) {
        return;
    }
    if (!ground.bankHolds(0, image) && !ground.bankHolds(1, image)) {
        throw Wrong{"the other bank is called whole, " + inQuotes(shared().other.data()) +
                    ", and does not hold the image"};
    }
}

void duringWrite(Ground &ground) {
    std::string running;
    std::string image;
    OtaBankFacts begun{};
    killEverywhere(
        ground,
        {[&](Ground &) {
             lookAtNode(ground);
             running = shared().running.data();
             begun = shared().facts;
             if (shared().other[0] != '\0') {
                 throw NotLookedAt{"the other bank holds an image from before; begin with a node "
                                   "that holds none"};
             }
             image = ground.image(kOldImage);
         },
         [&](const Platform &platform) { platform.write(image.c_str()); },
         [&](Ground &) {
             lookAtNode(ground);
             requireVersion(running);
             requireWhole(ground, image);
             const OtaBankFacts &now = shared().facts;
             if (now.chosen != begun.chosen || now.next != begun.next || now.trial != begun.trial) {
                 throw Wrong{"the bank facts say that another bank boots next"};
             }
             writeImage(ground, image); // the agent offers it once more
             lookAtNode(ground);
             if (shared().other[0] == '\0') {
                 throw Wrong{
                     "the image was written once more, and the other bank still holds none"};
             }
         }});
}

void requireSoundChoice(const OtaBankFacts &facts) {
    const int passive = 1 - facts.active;
    const bool old = facts.chosen == facts.active && facts.next == facts.active;
    const bool chosen = facts.next == passive && facts.trial == passive &&
                        facts.banks[passive].whole != 0 && facts.banks[passive].attempts > 0;
    if (!old && !chosen) {
        throw Wrong{"neither the old bank boots next nor the new one on trial: chosen " +
                    std::to_string(facts.chosen) + ", next " + std::to_string(facts.next) +
                    ", trial " + std::to_string(facts.trial) + ", " +
                    std::to_string(facts.banks[passive].attempts) + " boots left"};
    }
}

Scene behindAWrite(Ground &ground, std::string &running, bool activated) {
    Scene scene;
    scene.before = [&running, activated](Ground &here) {
        writeImage(here, here.image(kOldImage));
        if (activated) {
            activateImage(here);
        }
        lookAtNode(here);
        running = shared().running.data();
    };
    scene.behind = [&running, &ground](Ground &here) {
        lookAtNode(here);
        requireVersion(running);
        if (ground.survey().trials) {
            requireSoundChoice(shared().facts);
        }
        activateImage(here); // once more
        lookAtNode(here);
        const OtaBankFacts &facts = shared().facts;
        if (ground.survey().trials && facts.next == facts.active) {
            throw Wrong{"it was activated once more, and the running bank boots next"};
        }
    };
    return scene;
}

void duringActivation(Ground &ground) {
    std::string running;
    Scene scene = behindAWrite(ground, running, false);
    scene.call = [](const Platform &platform) { platform.activate(); };
    killEverywhere(ground, scene);
}

void duringFallBack(Ground &ground) {
    std::string running;
    Scene scene = behindAWrite(ground, running, true);
    scene.call = [](const Platform &platform) { platform.fallBack(); };
    killEverywhere(ground, scene);
}

// Written, activated, booted, and passed or not.
void bootNew(Ground &ground, bool passes) {
    writeImage(ground, ground.image(kOldImage));
    activateImage(ground);
    ground.boot();
    ground.playLong([&](Platform &platform) {
        OtaFault why{};
        platform.beginTrial(&why);
        if (passes && platform.passTrial(&why) != 0) {
            throw Wrong{"passTrial failed: " + std::string(why.text)};
        }
        keepVersions(platform);
    });
}

void duringCommit(Ground &ground) {
    std::string running;
    killEverywhere(ground, {[&](Ground &) {
                                bootNew(ground, true);
                                running = shared().running.data();
                            },
                            [](const Platform &platform) {
                                OtaFault why{};
                                platform.commit(&why);
                            },
                            [&](Ground &) {
                                lookAtNode(ground);
                                requireVersion(running);
                                ground.boot();
                                lookAtNode(ground);
                                requireVersion(running);
                                ground.playLong([](Platform &platform) {
                                    OtaFault why{};
                                    if (platform.commit(&why) != 0 ||
                                        factsOf(platform).trial != OTA_NO_BANK) {
                                        throw Wrong{"it cannot be committed any more"};
                                    }
                                });
                            }});
}

void duringFailure(Ground &ground) {
    std::string fresh;
    std::string old;
    killEverywhere(ground, {[&](Ground &) {
                                bootNew(ground, false);
                                fresh = shared().running.data();
                                old = shared().other.data();
                            },
                            [](const Platform &platform) {
                                OtaFault why{};
                                platform.failTrial(&why);
                            },
                            [&](Ground &) {
                                lookAtNode(ground);
                                requireVersion(fresh);
                                constexpr int kMostBoots = 100;
                                for (int boot = 0;
                                     boot < kMostBoots && old != shared().running.data(); ++boot) {
                                    ground.boot();
                                    lookAtNode(ground);
                                }
                                requireVersion(old);
                            }});
}

constexpr const char *kPowerAtAnyTime =
    "a process may end, and power may go, at any point of the call";
constexpr const char *kHalf =
    "a node whose power goes at that moment does not come up, or runs one "
    "version and believes that it runs another";

constexpr Check kKillChecks[] = {
    {"kill.write", kWrites, duringWrite, "nal_writePassiveImage, killed at each change of a disk",
     "the running bank boots; the passive one counts as an image only if it is whole, and can be "
     "written again",
     kHalf, "write"},
    {"kill.activate", kWrites, duringActivation,
     "nal_activatePassiveImage, killed at each change of a disk",
     "it is activated, on trial, or it is not; and it can be activated again", kHalf, "activate"},
    {"kill.fall-back", kWrites, duringFallBack,
     "nal_fallBackToActiveImage behind an activation, killed at each change of a disk",
     "an activation that succeeded stands", kHalf, "fall-back"},
    {"kill.commit", kWrites | kTable | kTrials | kBoot, duringCommit,
     "commit, killed at each change of a disk", kPowerAtAnyTime, kHalf, "trial"},
    {"kill.fail-trial", kWrites | kTable | kTrials | kBoot, duringFailure,
     "failTrial, killed at each change of a disk", kPowerAtAnyTime, kHalf, "trial"},
};

} // namespace

std::span<const Check> killChecks() { return kKillChecks; }

} // namespace check
