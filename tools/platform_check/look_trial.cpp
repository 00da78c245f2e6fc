// SPDX-License-Identifier: MIT
// The trial of a new version, from one boot to the next: --boot plays the boot loader.
#include "tools/platform_check/ground.h"

#include <cstring>

namespace check {
namespace {

struct Versions {
    std::string old;
    std::string fresh;
};

// Written, activated and booted.
Versions upgraded(Ground &ground) {
    writeImage(ground, ground.image(kOldImage));
    lookAtNode(ground);
    Versions versions{shared().running.data(), shared().other.data()};
    activateImage(ground);
    ground.boot();
    return versions;
}

void requireRunning(Ground &ground, const std::string &version, const char *behind) {
    lookAtNode(ground);
    if (version != shared().running.data()) {
        throw Wrong{std::string("behind ") + behind + " " + inQuotes(shared().running.data()) +
                    " runs, and not " + inQuotes(version)};
    }
}

void requireDone(int answer, const OtaFault &why, const char *call) {
    if (answer != 0) {
        throw Wrong{std::string(call) + " " + answered(answer, why)};
    }
}

void requireTrial(const Platform &platform, int wanted) {
    OtaFault what{};
    const int trial = platform.beginTrial(&what);
    if (trial != wanted) {
        throw Wrong{"beginTrial " + answered(trial, what)};
    }
}

bool isRemembered(const OtaBankFacts &facts, const std::string &version, int how) {
    for (int at = 0; at < facts.failedCount && at < OTA_FAILED_VERSIONS; ++at) {
        if (version == facts.failed[at].version && facts.failed[at].last == how) {
            return true;
        }
    }
    return false;
}

void noneWithoutActivation(Ground &ground) {
    ground.player().play([](Platform &platform) {
        requireTrial(platform, OTA_TRIAL_NONE);
        requireTrial(platform, OTA_TRIAL_NONE);
    });
}

void bootsTheNewOne(Ground &ground) {
    const Versions versions = upgraded(ground);
    requireRunning(ground, versions.fresh, "a boot");
}

void begins(Ground &ground) {
    upgraded(ground);
    ground.player().play([](Platform &platform) {
        requireTrial(platform, OTA_TRIAL_RUNNING);
        const OtaBankFacts facts = factsOf(platform);
        if (facts.trial != facts.active || facts.healthy != 0) {
            throw Wrong{"the facts say trial " + std::to_string(facts.trial) + " and healthy " +
                        std::to_string(facts.healthy) + " while bank " +
                        std::to_string(facts.active) + " runs on trial"};
        }
    });
}

void passesAndCommits(Ground &ground) {
    const Versions versions = upgraded(ground);
    ground.playLong([](Platform &platform) {
        OtaFault why{};
        requireTrial(platform, OTA_TRIAL_RUNNING);
        requireDone(platform.passTrial(&why), why, "passTrial");
    });
    ground.playLong([](Platform &platform) { // a start after a power cut
        OtaFault why{};
        if (factsOf(platform).healthy != 1) {
            throw Wrong{"passTrial answered 0, and the facts of another process say healthy 0"};
        }
        requireDone(platform.commit(&why), why, "commit");
        requireDone(platform.commit(&why), why, "commit, once more,");
        const OtaBankFacts facts = factsOf(platform);
        if (facts.trial != OTA_NO_BANK || facts.chosen != facts.active ||
            facts.next != facts.active) {
            throw Wrong{"behind commit the facts say trial " + std::to_string(facts.trial) +
                        ", chosen " + std::to_string(facts.chosen) + ", next " +
                        std::to_string(facts.next)};
        }
        requireTrial(platform, OTA_TRIAL_NONE);
    });
    constexpr int kBoots = 5;
    for (int boot = 0; boot < kBoots; ++boot) {
        ground.boot();
    }
    requireRunning(ground, versions.fresh, "a commit and five boots");
}

void runsOutOfAttempts(Ground &ground) {
    const Versions versions = upgraded(ground);
    constexpr int kMostBoots = 100;
    int boots = 1;
    do {
        ground.boot();
        lookAtNode(ground);
    } while (versions.old != shared().running.data() && ++boots < kMostBoots);
    if (boots == kMostBoots) {
        throw Wrong{"it was booted 100 times and never proved itself, and it still runs"};
    }
    ground.player().play([&](Platform &platform) {
        requireTrial(platform, OTA_TRIAL_FAILED);
        const OtaBankFacts facts = factsOf(platform);
        if (facts.chosen != facts.active || facts.trial != OTA_NO_BANK) {
            throw Wrong{"beginTrial answered that it failed, and it is not settled: chosen " +
                        std::to_string(facts.chosen) + ", trial " + std::to_string(facts.trial)};
        }
        if (!isRemembered(facts, versions.fresh, OTA_FAILED_BOOT)) {
            throw Wrong{inQuotes(versions.fresh) + " is not among the failed versions, as one that "
                                                   "used up its boots"};
        }
        requireTrial(platform, OTA_TRIAL_NONE);
    });
}

void failsAndGoesBack(Ground &ground) {
    const Versions versions = upgraded(ground);
    ground.playLong([&](Platform &platform) {
        OtaFault why{};
        requireTrial(platform, OTA_TRIAL_RUNNING);
        requireDone(platform.failTrial(&why), why, "failTrial");
        const OtaBankFacts facts = factsOf(platform);
        if (facts.next == facts.active) {
            throw Wrong{"failTrial answered 0, and the running bank still boots next"};
        }
        if (!isRemembered(facts, versions.fresh, OTA_FAILED_HEALTH)) {
            throw Wrong{inQuotes(versions.fresh) + " is not among the failed versions, as one that "
                                                   "was not healthy"};
        }
    });
    ground.boot();
    requireRunning(ground, versions.old, "a failed trial and a boot");
}

void endsItsReboots(Ground &ground) {
    upgraded(ground);
    ground.playLong([](Platform &platform) {
        OtaFault why{};
        requireTrial(platform, OTA_TRIAL_RUNNING);
        requireDone(platform.failTrial(&why), why, "failTrial");
        constexpr int kMost = 100;
        int reboots = 0;
        while (platform.mayReboot(&why) == 0 && reboots < kMost) {
            ++reboots;
        }
        if (reboots == kMost) {
            throw Wrong{
                "mayReboot answered 0 a hundred times, though no boot brought the other bank"};
        }
    });
}

void keepsItsWayBack(Ground &ground) {
    upgraded(ground);
    const std::string image = ground.image(kNewImage);
    ground.playLong([&](Platform &platform) {
        if (platform.write(image.c_str()) == 0) {
            throw Wrong{
                "while the running bank is on trial an image was written over the one that it "
                "would fall back to"};
        }
        const int answer = platform.activate();
        if (answer != 0) {
            throw Wrong{"while the running bank is on trial nal_activatePassiveImage() " +
                        answered(answer)};
        }
        const OtaBankFacts facts = factsOf(platform);
        if (facts.trial != facts.active) {
            throw Wrong{"the running bank is on trial no more"};
        }
    });
}

constexpr unsigned kTakes = kWrites | kTable | kTrials | kBoot;

constexpr Check kTrialChecks[] = {
    {"trial.none-without-activation", kWrites | kTable | kTrials, noneWithoutActivation,
     "beginTrial, twice, on a node that was not upgraded", "OTA_TRIAL_NONE",
     "a healthy node reboots at each start", "table"},
    {"trial.boots-the-new-version", kTakes, bootsTheNewOne,
     "write, activation and a boot, then nal_getCurSwVersion", "the new version runs",
     "no upgrade ever comes up", "activate"},
    {"trial.begins", kTakes, begins, "beginTrial at the first start of the new version",
     "OTA_TRIAL_RUNNING; the facts name the running bank as the one on trial",
     "a new version counts as good before anybody looked at it", "trial"},
    {"trial.passes-and-commits", kTakes, passesAndCommits,
     "passTrial, commit twice, and five boots",
     "0 each time; healthy is kept, and behind commit the bank boots without counting",
     "a good version is left again some boots later", "trial.begins"},
    {"trial.runs-out-of-attempts", kTakes, runsOutOfAttempts,
     "boots of a version that never proves itself, then beginTrial",
     "the old version boots again by itself; OTA_TRIAL_FAILED once, and the version is remembered",
     "a version that does not come up takes the node out of the field", "trial.begins"},
    {"trial.fails-and-goes-back", kTakes, failsAndGoesBack, "failTrial and a boot",
     "0; the other bank boots next, and the running version is remembered as one that failed",
     "a node that is not healthy stays on the version that made it so", "trial.begins"},
    {"trial.ends-its-reboots", kTakes, endsItsReboots,
     "mayReboot again and again, while no boot brings the other bank",
     "it fails at last; the node then stays as it is",
     "a node whose boot loader does not follow reboots for ever", "trial.fails-and-goes-back"},
    {"trial.keeps-its-way-back", kTakes, keepsItsWayBack,
     "a write and an activation while the running bank is on trial",
     "the write is refused, and the activation answers 0",
     "the version that the node would fall back to is gone", "trial.begins"},
};

} // namespace

std::span<const Check> trialChecks() { return kTrialChecks; }

} // namespace check
