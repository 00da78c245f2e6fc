// SPDX-License-Identifier: MIT
// nal_activatePassiveImage and nal_fallBackToActiveImage.
#include "tools/platform_check/ground.h"

#include <cstring>

namespace check {
namespace {

// Where there are trials, the facts; throws where the activation does not stand.
void requireActivated(const Platform &platform, const char *behind) {
    if (!platform.hasTrials()) {
        return;
    }
    const OtaBankFacts facts = factsOf(platform);
    const int passive = 1 - facts.active;
    if (facts.chosen != passive || facts.next != passive || facts.trial != passive) {
        throw Wrong{std::string("behind ") + behind + " bank " + std::to_string(passive) +
                    " was to boot next, on trial; the facts say chosen " +
                    std::to_string(facts.chosen) + ", next " + std::to_string(facts.next) +
                    ", trial " + std::to_string(facts.trial)};
    }
}

void writeFirst(Ground &ground) { writeImage(ground, ground.image(kOldImage)); }

// An activation that stands is told by what cannot be done any more.
void requireNotWrittenOver(Ground &ground) {
    const std::string image = ground.image(kNewImage);
    ground.playLong([&](Platform &platform) {
        if (platform.write(image.c_str()) == 0) {
            throw Wrong{"an image was written to the bank that was activated"};
        }
    });
}

void notZeroIsSuccess(Ground &ground) {
    writeFirst(ground);
    ground.playLong([](Platform &platform) {
        if (platform.activate() != 0) {
            return;
        }
        std::string what = "0, behind an image that was written and read back";
        if (platform.hasTrials()) {
            const OtaBankFacts facts = factsOf(platform);
            what += facts.chosen != facts.active
                        ? "; the facts say that it was activated all the same"
                        : "; the facts say that it was not activated";
        }
        const OtaFault &why = shared().lastFailure;
        throw Wrong{what + (why.text[0] == '\0' ? "" : ": " + std::string(why.text))};
    });
}

void bootsNext(Ground &ground) {
    writeFirst(ground);
    ground.playLong([](Platform &platform) {
        platform.activate();
        requireActivated(platform, "the activation");
    });
}

void countsAttempts(Ground &ground) {
    writeFirst(ground);
    ground.playLong([](Platform &platform) {
        platform.activate();
        const OtaBankFacts facts = factsOf(platform);
        const int attempts = facts.banks[1 - facts.active].attempts;
        if (attempts < 1 || attempts > 99) {
            throw Wrong{"the bank on trial has " + std::to_string(attempts) + " boots left"};
        }
    });
}

void succeedsAgain(Ground &ground) {
    writeFirst(ground);
    ground.playLong([](Platform &platform) {
        for (int time = 1; time <= 3; ++time) {
            if (platform.activate() == 0) {
                throw Wrong{"the activation number " + std::to_string(time) + " answered 0"};
            }
        }
        requireActivated(platform, "three activations");
    });
}

void outlivesTheProcess(Ground &ground) {
    writeFirst(ground);
    activateImage(ground); // in another process than the write
    if (!ground.survey().trials) {
        return requireNotWrittenOver(ground);
    }
    ground.player().play(
        [](Platform &platform) { requireActivated(platform, "an activation by another process"); });
}

void keepsRunningVersionBehindIt(Ground &ground) {
    lookAtNode(ground);
    const std::string before = shared().running.data();
    writeFirst(ground);
    activateImage(ground);
    lookAtNode(ground);
    if (before != shared().running.data()) {
        throw Wrong{"nal_getCurSwVersion gives " + inQuotes(shared().running.data()) + ", while " +
                    inQuotes(before) + " runs"};
    }
}

void leavesBanks(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    writeImage(ground, image);
    const std::uint64_t before[] = {ground.digestOf(0), ground.digestOf(1)};
    activateImage(ground);
    if (ground.digestOf(0) != before[0] || ground.digestOf(1) != before[1]) {
        throw Wrong{"the bytes of a bank are others than before the activation"};
    }
}

void emptyPassive(Ground &ground) {
    lookAtNode(ground);
    if (shared().other[0] == '\0') {
        return;
    }
    ground.playLong([](Platform &platform) {
        OtaFault why{};
        if (!platform.giveUpPassive || platform.giveUpPassive(&why) != 0) {
            throw NotLookedAt{
                "the other bank holds an image from before, which cannot be given up; "
                "begin with a node that holds none"};
        }
    });
}

void refusesUnwritten(Ground &ground) {
    emptyPassive(ground);
    ground.playLong([](Platform &platform) {
        const int answer = platform.activate();
        if (answer != 0) {
            throw Wrong{"nal_activatePassiveImage() " + answered(answer) +
                        ", though no image was written"};
        }
        if (platform.hasTrials()) {
            const OtaBankFacts facts = factsOf(platform);
            if (facts.chosen != facts.active || facts.next != facts.active) {
                throw Wrong{"it answered 0, and the facts say that the other bank boots next"};
            }
        }
    });
}

void refusesBrokenOff(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    const std::uint64_t half = ground.smallSize() / 2;
    ground.playLong([&](Platform &platform) {
        stopFilesAt(half);
        if (platform.write(image.c_str()) == 0) {
            throw NotLookedAt{"the write did not break off"};
        }
    });
    ground.playLong([](Platform &platform) {
        keepVersions(platform);
        const int answer = platform.activate();
        if (answer != 0 && shared().other[0] == '\0') {
            throw Wrong{"nal_activatePassiveImage() " + answered(answer) +
                        " behind a write that broke off"};
        }
    });
}

void isNotWrittenOver(Ground &ground) {
    writeFirst(ground);
    const std::string image = ground.image(kNewImage);
    ground.playLong([&](Platform &platform) {
        platform.activate();
        if (platform.write(image.c_str()) == 0) {
            throw Wrong{"an image was written to the bank that was activated"};
        }
        requireActivated(platform, "a write that was refused");
    });
}

void standsBehindFallBack(Ground &ground) {
    writeFirst(ground);
    ground.playLong([](Platform &platform) {
        platform.activate();
        platform.fallBack();
        requireActivated(platform, "an activation and nal_fallBackToActiveImage");
        platform.fallBack();
        requireActivated(platform, "an activation and nal_fallBackToActiveImage twice");
    });
    ground.playLong([](Platform &platform) {
        platform.fallBack();
        requireActivated(platform, "nal_fallBackToActiveImage of another process");
    });
    requireNotWrittenOver(ground);
}

void fallsBackAlone(Ground &ground) {
    lookAtNode(ground);
    const std::string running = shared().running.data();
    const OtaBankFacts before = shared().facts;
    ground.playLong([](Platform &platform) {
        platform.fallBack();
        platform.fallBack();
    });
    lookAtNode(ground);
    const OtaBankFacts &now = shared().facts;
    if (running != shared().running.data() || before.chosen != now.chosen ||
        before.trial != now.trial) {
        throw Wrong{"running version or bank facts are others than before"};
    }
}

void keepsWrittenImage(Ground &ground) {
    writeFirst(ground);
    ground.playLong([](Platform &platform) { platform.fallBack(); });
    activateImage(ground);
}

void isTakenBack(Ground &ground) {
    writeFirst(ground);
    activateImage(ground);
    ground.playLong([](Platform &platform) {
        if (!platform.takeBack) {
            throw NotLookedAt{"its table has no takeBack"};
        }
        for (int time = 1; time <= 2; ++time) {
            OtaFault why{};
            const int answer = platform.takeBack(&why);
            if (answer != 0) {
                throw Wrong{"takeBack number " + std::to_string(time) + " " +
                            answered(answer, why)};
            }
            const OtaBankFacts facts = factsOf(platform);
            if (facts.chosen != facts.active || facts.next != facts.active) {
                throw Wrong{"takeBack answered 0, and the other bank still boots next"};
            }
        }
        keepVersions(platform);
        if (shared().other[0] == '\0') {
            throw Wrong{"takeBack answered 0, and the image in the passive bank is gone"};
        }
    });
    activateImage(ground);
}

void isNotGivenUp(Ground &ground) {
    writeFirst(ground);
    activateImage(ground);
    ground.playLong([](Platform &platform) {
        if (!platform.giveUpPassive) {
            throw NotLookedAt{"its table has no giveUpPassive"};
        }
        OtaFault why{};
        if (platform.giveUpPassive(&why) == 0) {
            throw Wrong{"giveUpPassive answered 0 for the bank that was activated"};
        }
        requireActivated(platform, "giveUpPassive");
    });
}

constexpr const char *kNotZero = "not 0 is success, also where it was activated before";
constexpr const char *kNeverUpgrades =
    "the node says that it upgraded, reboots into its old version and reports OTA_SW_COMMIT_FAILED";

constexpr Check kActivationChecks[] = {
    {"activate.answers-one-for-success", kWrites, notZeroIsSuccess,
     "nal_activatePassiveImage() behind a write", kNotZero,
     "the agent takes the activation for failed: it reports OTA_SW_ACTIVATION_FAILED, and the node "
     "boots the new version at its next power cut, without a word",
     "write"},
    {"activate.boots-next", kWrites | kTable | kTrials, bootsNext, "the bank facts behind it",
     "the passive bank is chosen, boots next and is on trial", kNeverUpgrades,
     "activate.answers-one-for-success"},
    {"activate.counts-its-attempts", kWrites | kTable | kTrials, countsAttempts,
     "the boots that the bank on trial has left", "1 to 99: it boots a limited number of times",
     "a version that does not come up is booted for ever, or not once", "activate.boots-next"},
    {"activate.again", kWrites, succeedsAgain, "nal_activatePassiveImage() three times", kNotZero,
     "an upgrade that was resumed ends as a failed one", "activate.answers-one-for-success",
     "activate.boots-next"},
    {"activate.outlives-the-process", kWrites, outlivesTheProcess,
     "write, activation and a look at it, each in a process of its own",
     "the choice survives the process and a power cut, and a bank that was activated is not written "
     "over",
     kNeverUpgrades, "activate.answers-one-for-success", "activate.boots-next"},
    {"activate.keeps-the-running-version", kWrites, keepsRunningVersionBehindIt,
     "nal_getCurSwVersion behind an activation",
     "the version of the bank that runs, not of the one that was activated last",
     "the agent reports OTA_SW_COMMIT_COMPLETE for an upgrade that never came up",
     "activate.answers-one-for-success"},
    {"activate.leaves-the-banks", kWrites | kBanks, leavesBanks,
     "the bytes of both banks behind an activation", "the same as before",
     "what boots is not what was written and read back", "activate.answers-one-for-success"},
    {"activate.refuses-what-was-not-written", kWrites, refusesUnwritten,
     "nal_activatePassiveImage() while the passive bank holds no image",
     "0; the running bank stays the one to boot", "the node reboots into an empty bank",
     "activate.answers-one-for-success"},
    {"activate.refuses-what-broke-off", kWrites, refusesBrokenOff,
     "nal_activatePassiveImage() behind a write that broke off in the middle",
     "0; a passive bank that was not written as a whole is not bootable",
     "the node reboots into half a system", "activate.refuses-what-was-not-written"},
    {"activate.is-not-written-over", kWrites, isNotWrittenOver,
     "nal_writePassiveImage with another image behind an activation",
     "not 0: a bank that was activated is not written over",
     "a node that loses power during that write boots half an image",
     "activate.answers-one-for-success", "activate.boots-next"},
    {"fall-back.leaves-a-success", kWrites, standsBehindFallBack,
     "nal_fallBackToActiveImage() behind an activation that succeeded, as the agent calls it",
     "an activation that succeeded must stand", kNeverUpgrades, "activate.outlives-the-process",
     "activate.is-not-written-over"},
    {"fall-back.alone", kWrites, fallsBackAlone,
     "nal_fallBackToActiveImage() twice, with nothing activated",
     "the running bank stays the one to boot",
     "the agent calls it at the end of every installation: the node changes its bank by it",
     "table"},
    {"fall-back.keeps-the-image", kWrites, keepsWrittenImage,
     "nal_fallBackToActiveImage() behind a write, then an activation",
     "what was written stays, and can be activated later",
     "an upgrade that waits for its time of day is lost", "activate.answers-one-for-success"},
    {"activate.is-taken-back", kWrites | kTable | kTrials, isTakenBack,
     "takeBack behind an activation, twice, and an activation behind it",
     "0; the running bank boots next, and the image in the passive bank stays",
     "an upgrade that was cancelled is booted all the same", "activate.boots-next"},
    {"activate.is-not-given-up", kWrites | kTable | kTrials, isNotGivenUp,
     "giveUpPassive behind an activation", "it fails where that bank is activated or on trial",
     "the bank that boots next counts as empty: nothing comes up", "activate.boots-next"},
};

} // namespace

std::span<const Check> activationChecks() { return kActivationChecks; }

} // namespace check
