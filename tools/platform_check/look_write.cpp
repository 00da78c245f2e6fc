// SPDX-License-Identifier: MIT
// nal_writePassiveImage.
#include "tools/platform_check/ground.h"

#include "base/failure.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace check {
namespace {

namespace fs = std::filesystem;

void requireSameChoice(const OtaBankFacts &before, const OtaBankFacts &now, const char *behind) {
    if (before.active != now.active || before.chosen != now.chosen || before.next != now.next ||
        before.trial != now.trial) {
        throw Wrong{std::string("the bank facts are others behind ") + behind + ": chosen " +
                    std::to_string(before.chosen) + " then, " + std::to_string(now.chosen) +
                    " now; next " + std::to_string(before.next) + ", " + std::to_string(now.next) +
                    "; trial " + std::to_string(before.trial) + ", " + std::to_string(now.trial)};
    }
}

// What the node said of itself before and after.
struct Seen {
    std::string running;
    std::string other;
    OtaBankFacts facts{};
};

Seen seenNow(Ground &ground) {
    lookAtNode(ground);
    return {shared().running.data(), shared().other.data(), shared().facts};
}

// The image must not be taken, and what was known of the banks stays, or the passive one is empty.
void mustRefuse(Ground &ground, const std::string &path, const char *what) {
    const Seen before = seenNow(ground);
    ground.playLong([&](Platform &platform) {
        const int answer = platform.write(path.c_str());
        if (answer == 0) {
            throw Wrong{"nal_writePassiveImage answered 0 for " + std::string(what)};
        }
    });
    const Seen now = seenNow(ground);
    if (now.running != before.running) {
        throw Wrong{"it was refused, and the running version is " + inQuotes(now.running) +
                    " instead of " + inQuotes(before.running)};
    }
    if (!now.other.empty() && now.other != before.other) {
        throw Wrong{"it was refused, and the other bank is said to hold " + inQuotes(now.other)};
    }
    requireSameChoice(before.facts, now.facts, "a refused image");
}

void answersZero(Ground &ground) { writeImage(ground, ground.image(kOldImage)); }

void tellsItsVersion(Ground &ground) {
    writeImage(ground, ground.image(kOldImage));
    const Seen now = seenNow(ground);
    if (now.other.empty()) {
        throw Wrong{"nal_getPrevSwVersion says that the other bank holds no image"};
    }
}

void keepsRunningVersion(Ground &ground) {
    const Seen before = seenNow(ground);
    writeImage(ground, ground.image(kOldImage));
    const Seen now = seenNow(ground);
    if (now.running != before.running) {
        throw Wrong{"nal_getCurSwVersion gives " + inQuotes(now.running) + ", before it gave " +
                    inQuotes(before.running)};
    }
}

void leavesChoice(Ground &ground) {
    const Seen before = seenNow(ground);
    writeImage(ground, ground.image(kOldImage));
    requireSameChoice(before.facts, seenNow(ground).facts, "a write");
}

// The bank that is written: by the facts, else the one whose bytes changed.
void readsBack(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    writeImage(ground, image);
    if (ground.survey().trials) {
        lookAtNode(ground);
        const int passive = 1 - shared().facts.active;
        if (!ground.bankHolds(passive, image)) {
            throw Wrong{"nal_writePassiveImage answered 0, and " + ground.bankPath(passive) +
                        " does not hold the image"};
        }
    } else if (!ground.bankHolds(0, image) && !ground.bankHolds(1, image)) {
        throw Wrong{"nal_writePassiveImage answered 0, and neither bank holds the image"};
    }
}

void leavesRunningBank(Ground &ground) {
    const std::array before{ground.digestOf(0), ground.digestOf(1)};
    lookAtNode(ground);
    const int active = shared().facts.active;
    writeImage(ground, ground.image(kOldImage));
    const std::array<bool, 2> same{ground.digestOf(0) == before[0],
                                   ground.digestOf(1) == before[1]};
    const bool right =
        ground.survey().trials ? same.at(static_cast<std::size_t>(active)) : same[0] || same[1];
    if (!right) {
        throw Wrong{"the bytes of the running bank are others than before the write"};
    }
}

void refusesMissing(Ground &ground) {
    const std::string path = ground.pathInTmp("4QZnone");
    mustRefuse(ground, path, "a path where no file is");
}

void refusesFolder(Ground &ground) {
    const std::string path = ground.pathInTmp("4QZfolder");
    std::error_code error;
    fs::create_directory(path, error);
    if (error) {
        throw base::Failure(base::Outcome::failed, path + ": " + error.message());
    }
    try {
        mustRefuse(ground, path, "a directory");
    } catch (const Wrong &) {
        fs::remove(path, error);
        throw;
    }
    fs::remove(path, error);
}

void refusesEmpty(Ground &ground) {
    mustRefuse(ground, ground.image(kOldImage, 0), "an image of no bytes");
}

void takesExactlyFull(Ground &ground) {
    const std::string image = ground.image(kOldImage, ground.capacity());
    writeImage(ground, image);
    if (!ground.options().bankA.empty() && !ground.bankHolds(0, image) &&
        !ground.bankHolds(1, image)) {
        throw Wrong{"it answered 0, and neither bank holds all of the " +
                    std::to_string(ground.capacity()) + " bytes"};
    }
}

void refusesTooLarge(Ground &ground) {
    mustRefuse(ground, ground.image(kOldImage, ground.capacity() + 1),
               "an image of one byte more than a bank has");
}

void writesAgain(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    ground.playLong([&](Platform &platform) {
        for (int time = 1; time <= 2; ++time) {
            const int answer = platform.write(image.c_str());
            if (answer != 0) {
                throw Wrong{"the write number " + std::to_string(time) + " " +
                            answered(answer, shared().lastFailure)};
            }
        }
    });
}

void writesOver(Ground &ground) {
    writeImage(ground, ground.image(kOldImage));
    const std::string before = seenNow(ground).other;
    const std::string image = ground.image(kNewImage, ground.smallSize() / 2 + 1);
    writeImage(ground, image);
    const std::string now = seenNow(ground).other;
    if (now.empty() || now == before) {
        throw Wrong{"behind a second image nal_getPrevSwVersion gives " + inQuotes(now) +
                    ", behind the first it gave " + inQuotes(before)};
    }
    if (!ground.options().bankA.empty() && !ground.bankHolds(0, image) &&
        !ground.bankHolds(1, image)) {
        throw Wrong{"neither bank holds the second image"};
    }
}

void leavesImage(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    struct stat before {};
    struct stat now {};
    stat(image.c_str(), &before);
    writeImage(ground, image);
    if (stat(image.c_str(), &now) != 0) {
        throw Wrong{"the image file is gone"};
    }
    if (before.st_size != now.st_size || before.st_mtim.tv_nsec != now.st_mtim.tv_nsec ||
        before.st_mtim.tv_sec != now.st_mtim.tv_sec) {
        throw Wrong{"the image file is another than before"};
    }
}

// A file of the process may not grow beyond the half: the disk is full there.
void tellsBrokenOff(Ground &ground) {
    struct stat status {};
    if (!ground.options().bankA.empty() && stat(ground.options().bankA.c_str(), &status) == 0 &&
        S_ISBLK(status.st_mode)) {
        throw NotLookedAt{"the banks are devices, on which no write can be broken off from here"};
    }
    const Seen before = seenNow(ground);
    const std::string image = ground.image(kOldImage);
    const std::uint64_t half = ground.smallSize() / 2;
    ground.playLong([&](Platform &platform) {
        stopFilesAt(half);
        const int answer = platform.write(image.c_str());
        if (answer == 0) {
            throw Wrong{"nal_writePassiveImage answered 0, though no file could grow beyond " +
                        std::to_string(half) + " of its " + std::to_string(ground.smallSize()) +
                        " bytes"};
        }
    });
    const Seen now = seenNow(ground);
    if (now.running != before.running) {
        throw Wrong{"the running version is " + inQuotes(now.running)};
    }
    if (!now.other.empty() && now.other != before.other) {
        throw Wrong{"the other bank is said to hold " + inQuotes(now.other)};
    }
}

void callsItsHooks(Ground &ground) {
    const std::string image = ground.image(kOldImage);
    ground.playLong([&](Platform &platform) {
        if (!platform.follow) {
            throw NotLookedAt{"its table has no follow"};
        }
        if (platform.write("/nowhere/4QZnone") == 0 || shared().failures == 0) {
            throw Wrong{"a write failed, and the hook failed was not called"};
        }
        const int before = shared().banksChanged;
        platform.write(image.c_str());
        if (shared().banksChanged == before) {
            throw Wrong{"a bank was written, and the hook banksChanged was not called"};
        }
    });
}

void givesUpPassive(Ground &ground) {
    writeImage(ground, ground.image(kOldImage));
    ground.playLong([](Platform &platform) {
        if (!platform.giveUpPassive) {
            throw NotLookedAt{"its table has no giveUpPassive"};
        }
        OtaFault why{};
        const int answer = platform.giveUpPassive(&why);
        if (answer != 0) {
            throw Wrong{"giveUpPassive " + answered(answer, why)};
        }
        keepVersions(platform);
        if (shared().other[0] != '\0') {
            throw Wrong{"giveUpPassive answered 0, and the other bank still holds " +
                        inQuotes(shared().other.data())};
        }
        if (platform.activate() != 0) {
            throw Wrong{"what was given up was activated"};
        }
    });
}

constexpr const char *kReports = "the node reports OTA_SW_FLASH_WRITE_FAILED for a good image, or "
                                 "goes on with a bad one";
constexpr const char *kBricks = "the next activation boots a bank that holds no whole system";
constexpr const char *kRefused =
    "not 0; the running bank and what boots next are untouched, and the passive bank is not bootable "
    "or as it was";

constexpr Check kWriteChecks[] = {
    {"write.answers-zero", kWrites, answersZero, "nal_writePassiveImage with a small image",
     "0: every byte is there and was read back",
     "every upgrade ends with OTA_SW_FLASH_WRITE_FAILED", "table"},
    {"write.leaves-the-image", kWrites, leavesImage, "the image file behind a write",
     "the agent keeps the path: the file is read, and that is all",
     "the agent's check of the sum fails, and it loads the image again", "write.answers-zero"},
    {"write.tells-its-version", kWrites, tellsItsVersion, "nal_getPrevSwVersion behind a write",
     "0, and the version of the image", "an image that is there is loaded again at each offer",
     "write.leaves-the-image"},
    {"write.keeps-the-running-version", kWrites, keepsRunningVersion,
     "nal_getCurSwVersion behind a write", "the version of the bank that runs",
     "after the reboot the agent reports a commit that there was not", "write.tells-its-version"},
    {"write.leaves-the-choice", kWrites | kTable | kTrials, leavesChoice,
     "the bank facts behind a write", "a write never changes which bank boots",
     "a node that loses power before the activation boots the new version all the same",
     "write.tells-its-version"},
    {"write.reads-back", kWrites | kBanks, readsBack,
     "the bytes of the passive bank behind a write", "those of the image, every one", kBricks,
     "write.leaves-the-choice"},
    {"write.leaves-the-running-bank", kWrites | kBanks, leavesRunningBank,
     "the bytes of the running bank behind a write", "the same as before",
     "the running system loses its files: there is nothing to fall back to", "write.reads-back"},
    {"write.refuses-a-missing-image", kWrites, refusesMissing, "a path where nothing is", kRefused,
     kReports, "write.leaves-the-choice"},
    {"write.refuses-a-directory", kWrites, refusesFolder, "a directory in the place of the image",
     kRefused, kBricks, "write.leaves-the-choice"},
    {"write.refuses-an-empty-image", kWrites, refusesEmpty, "an image of no bytes",
     "not 0: no bank with nothing in it may be bootable", kBricks, "write.leaves-the-choice"},
    {"write.takes-exactly-full", kWrites | kCapacity, takesExactlyFull,
     "an image of as many bytes as a bank has", "0: it fits", kReports, "write.reads-back"},
    {"write.refuses-too-large", kWrites | kCapacity, refusesTooLarge,
     "an image of one byte more than a bank has", kRefused,
     "what lies behind the bank is written over, or the image lacks its end", "write.reads-back"},
    {"write.again", kWrites, writesAgain, "the same image twice", "0 each time",
     "a retry after a broken download is refused", "write.leaves-the-choice"},
    {"write.over-another", kWrites, writesOver, "another, smaller image behind the first",
     "0, the bytes and the version of the second",
     "the node activates one version and reports another", "write.reads-back"},
    {"write.tells-a-write-that-broke-off", kWrites, tellsBrokenOff,
     "a write that no file can take more than the half of",
     "not 0, and the passive bank is not bootable", kBricks, "write.reads-back"},
    {"write.calls-its-hooks", kWrites | kTable, callsItsHooks,
     "the hooks behind a write that failed and during one that did not",
     "failed behind each failure, banksChanged before the first byte",
     "nobody learns why an upgrade failed, and status shows banks as they were before",
     "write.refuses-a-missing-image", "write.reads-back"},
    {"write.is-given-up", kWrites | kTable, givesUpPassive, "giveUpPassive behind a write",
     "0; the passive bank does not count as an image any more",
     "an upgrade that was begun anew finds the old image and activates that", "write.again"},
};

} // namespace

std::span<const Check> writeChecks() { return kWriteChecks; }

} // namespace check
