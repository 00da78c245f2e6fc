// SPDX-License-Identifier: MIT
// Who the node is and what it runs.
#include "tools/platform_check/ground.h"
#include "tools/platform_check/guarded_bytes.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace check {
namespace {

constexpr int kOther = 0xA5;             // no text ends with it, and it is no zero
constexpr std::size_t kShownWidth = 32;  // of serial number, model and time of day, NUL included
constexpr std::size_t kMostVersion = 30; // characters, of which the commit check reads no more

void requireZero(int answer, const char *call) {
    if (answer != 0) {
        throw Wrong{std::string(call) + " " + answered(answer)};
    }
}

bool isPrintableText(const std::string &text) {
    return std::all_of(text.begin(), text.end(), [](char one) { return one >= ' ' && one <= '~'; });
}

void nodeInfoAnswers(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const GuardedBytes record(NAL_NODE_INFO_SIZE, 0);
        requireZero(platform.nodeInfo(record.get()), "nal_getNodeInfo");
        record.lookBefore();
    });
}

void lookAtField(Ground &ground, std::size_t offset, const char *what) {
    ground.player().play([&](Platform &platform) {
        const GuardedBytes record(NAL_NODE_INFO_SIZE, 0);
        requireZero(platform.nodeInfo(record.get()), "nal_getNodeInfo");
        const std::string text = record.textAt(offset, kShownWidth);
        if (!record.endsWithin(offset, kShownWidth)) {
            throw Wrong{
                std::string(what) + " at offset " + std::to_string(offset) +
                " has more than 31 characters: " + inQuotes({record.text() + offset, kShownWidth})};
        }
        if (text.empty() || !isPrintableText(text)) {
            throw Wrong{std::string(what) + " at offset " + std::to_string(offset) + " is " +
                        inQuotes(text)};
        }
    });
}

void serialFits(Ground &ground) {
    lookAtField(ground, NAL_NODE_INFO_SERIAL_OFFSET, "the serial number");
}

void modelFits(Ground &ground) { lookAtField(ground, NAL_NODE_INFO_MODEL_OFFSET, "the model"); }

// Fills the text's bytes with others first: it must end what it writes itself.
std::string textOfCall(const Call<int (*)(char *)> &call, std::size_t width) {
    const GuardedBytes text(width, kOther);
    requireZero(call(text.text()), call.name);
    text.lookBefore();
    if (!text.endsWithin(0, width)) {
        throw Wrong{std::string(call.name) + " wrote a text without a NUL in its " +
                    std::to_string(width) + " bytes"};
    }
    return text.textAt(0, width);
}

void runningVersionAnswers(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const GuardedBytes text(NAL_VERSION_WIDTH, 0);
        requireZero(platform.runningVersion(text.text()), "nal_getCurSwVersion");
        text.lookBefore();
    });
}

void runningVersionFits(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const std::string version = textOfCall(platform.runningVersion, NAL_VERSION_WIDTH);
        if (version.empty() || version.size() > kMostVersion) {
            throw Wrong{"nal_getCurSwVersion gave " + inQuotes(version) + ", " +
                        std::to_string(version.size()) + " characters"};
        }
    });
}

void runningVersionIsPlain(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const std::string version = textOfCall(platform.runningVersion, NAL_VERSION_WIDTH);
        constexpr const char *kPlain =
            "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._+-";
        if (version.find_first_not_of(kPlain) != std::string::npos) {
            throw Wrong{"nal_getCurSwVersion gave " + inQuotes(version)};
        }
    });
}

void otherVersionAnswers(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const GuardedBytes text(NAL_VERSION_WIDTH, kOther);
        const int answer = platform.otherVersion(text.text());
        text.lookBefore();
        if (answer == 0 && (!text.endsWithin(0, NAL_VERSION_WIDTH) || text.text()[0] == '\0')) {
            throw Wrong{"nal_getPrevSwVersion answered 0 and gave " +
                        inQuotes(text.textAt(0, NAL_VERSION_WIDTH))};
        }
        if (answer != 0 && !text.isUntouched()) {
            throw Wrong{"nal_getPrevSwVersion answered " + std::to_string(answer) +
                        " and changed the text"};
        }
    });
}

void workModeAnswers(Ground &ground) {
    ground.player().play([](Platform &platform) { textOfCall(platform.workMode, NAL_MODE_WIDTH); });
}

void workModeIsKnown(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const std::string mode = textOfCall(platform.workMode, NAL_MODE_WIDTH);
        if (mode != "RGW" && mode != "AP_Bridge") {
            throw Wrong{"nal_getWorkMode gave " + inQuotes(mode)};
        }
    });
}

void workRoleAnswers(Ground &ground) {
    ground.player().play([](Platform &platform) {
        if (textOfCall(platform.workRole, NAL_MODE_WIDTH).empty()) {
            throw Wrong{"nal_getWorkRole gave an empty text"};
        }
    });
}

void onboardingIsZeroOrOne(Ground &ground) {
    ground.player().play([](Platform &platform) {
        constexpr int kNeither = 77;
        const GuardedBytes status(sizeof(int), 0);
        int &value = *static_cast<int *>(status.get());
        value = kNeither;
        requireZero(platform.onboarding(&value), "nal_getRootOnBoardingStatus");
        if (value != 0 && value != 1) {
            throw Wrong{value == kNeither ? "it answered 0 and left the number as it was"
                                          : "it gave " + std::to_string(value)};
        }
    });
}

void upgradeInfoAnswers(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const GuardedBytes record(NAL_UPGRADE_INFO_SIZE, 0);
        requireZero(platform.upgradeInfo(record.get()), "nal_getSwAutoUpgradeInfo");
        record.lookBefore();
    });
}

// hh, hh:mm or hh:mm:ss
bool isTimeOfDay(const std::string &text) {
    int hour = -1;
    int minute = 0;
    int second = 0;
    int length = 0;
    const bool isRead =
        (std::sscanf(text.c_str(), "%2d%n", &hour, &length) == 1 &&
         text[static_cast<std::size_t>(length)] == '\0') ||
        (std::sscanf(text.c_str(), "%2d:%2d%n", &hour, &minute, &length) == 2 &&
         text[static_cast<std::size_t>(length)] == '\0') ||
        (std::sscanf(text.c_str(), "%2d:%2d:%2d%n", &hour, &minute, &second, &length) == 3 &&
         text[static_cast<std::size_t>(length)] == '\0');
    return isRead && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 && second >= 0 &&
           second < 60;
}

void activationTimeIsOne(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const GuardedBytes record(NAL_UPGRADE_INFO_SIZE, 0);
        requireZero(platform.upgradeInfo(record.get()), "nal_getSwAutoUpgradeInfo");
        const std::string time = record.textAt(NAL_UPGRADE_INFO_TIME_OFFSET, kShownWidth);
        if (!isTimeOfDay(time)) {
            throw Wrong{"the preferred activation time at offset " +
                        std::to_string(NAL_UPGRADE_INFO_TIME_OFFSET) + " is " + inQuotes(time)};
        }
    });
}

// Everything that these calls say, one behind the other.
std::string allThatIsSaid(const Platform &platform) {
    const GuardedBytes node(NAL_NODE_INFO_SIZE, 0);
    const GuardedBytes upgrade(NAL_UPGRADE_INFO_SIZE, 0);
    const GuardedBytes other(NAL_VERSION_WIDTH, 0);
    int status = 0;
    platform.nodeInfo(node.get());
    platform.upgradeInfo(upgrade.get());
    const int answer = platform.otherVersion(other.text());
    platform.onboarding(&status);
    return node.textAt(NAL_NODE_INFO_SERIAL_OFFSET, kShownWidth) + "|" +
           node.textAt(NAL_NODE_INFO_MODEL_OFFSET, kShownWidth) + "|" +
           textOfCall(platform.runningVersion, NAL_VERSION_WIDTH) + "|" + std::to_string(answer) +
           "|" + other.textAt(0, NAL_VERSION_WIDTH) + "|" +
           textOfCall(platform.workMode, NAL_MODE_WIDTH) + "|" +
           textOfCall(platform.workRole, NAL_MODE_WIDTH) + "|" + std::to_string(status) + "|" +
           upgrade.textAt(NAL_UPGRADE_INFO_TIME_OFFSET, kShownWidth);
}

void saysTheSame(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const std::string first = allThatIsSaid(platform);
        constexpr int kTimes = 3;
        for (int time = 0; time < kTimes; ++time) {
            const std::string again = allThatIsSaid(platform);
            if (again != first) {
                throw Wrong{"first " + inQuotes(first) + ", later " + inQuotes(again)};
            }
        }
    });
}

constexpr const char *kNoIdentity =
    "reports carry no identity, and the service cannot say whose they are";
constexpr const char *kNoCommit = "after every upgrade the agent reports OTA_SW_COMMIT_FAILED";

constexpr Check kIdentityChecks[] = {
    {"identity.node-info-answers", kNothing, nodeInfoAnswers,
     "nal_getNodeInfo with a zeroed record of 552 bytes, behind which nothing can be written",
     "0, and nothing is written outside of the record", kNoIdentity},
    {"identity.serial-fits", kNothing, serialFits, "the serial number in the record",
     "a text of 1 to 31 printable characters at offset 83, with a NUL behind it", kNoIdentity,
     "identity.node-info-answers"},
    {"identity.model-fits", kNothing, modelFits, "the model in the record",
     "a text of 1 to 31 printable characters at offset 148, with a NUL behind it",
     "offers are for a model: none matches this node", "identity.node-info-answers"},
    {"identity.running-version-answers", kNothing, runningVersionAnswers,
     "nal_getCurSwVersion with 64 bytes, behind which nothing can be written", "0", kNoCommit},
    {"identity.running-version-fits", kNothing, runningVersionFits,
     "nal_getCurSwVersion with 64 bytes that held something else",
     "a text of 1 to 30 characters, which the platform itself ends with a NUL", kNoCommit,
     "identity.running-version-answers"},
    {"identity.running-version-is-plain", kNothing, runningVersionIsPlain,
     "the characters of the running version", "A-Z a-z 0-9 . _ + -",
     "versions go into a shell command: the mark of an activation holds something else, or another "
     "command runs as root",
     "identity.running-version-fits"},
    {"identity.other-version-answers", kNothing, otherVersionAnswers,
     "nal_getPrevSwVersion with 64 bytes that held something else",
     "0 and a version; or another number, -10 where the bank holds no whole image, and the text as it "
     "was",
     "the agent takes a bank without an image for one with a version, and activates it"},
    {"identity.work-mode-answers", kNothing, workModeAnswers,
     "nal_getWorkMode with 33 bytes that held something else", "0 and a text with its NUL",
     "the node is neither gateway nor extender: no timer activates"},
    {"identity.work-mode-is-known", kNothing, workModeIsKnown, "the work mode",
     "\"RGW\" or \"AP_Bridge\", in these letters",
     "the node is neither gateway nor extender: no timer activates, and reports also go to the root",
     "identity.work-mode-answers"},
    {"identity.work-role-answers", kNothing, workRoleAnswers,
     "nal_getWorkRole with 33 bytes that held something else",
     "0 and a text with its NUL: \"Controller\" or another role",
     "a bridge that is the controller counts as an extender"},
    {"identity.onboarding-is-zero-or-one", kNothing, onboardingIsZeroOrOne,
     "nal_getRootOnBoardingStatus", "0, and 1 while the node is being onboarded, else 0",
     "no swap, no download, and a reboot timer that ran out does nothing"},
    {"identity.upgrade-info-answers", kNothing, upgradeInfoAnswers,
     "nal_getSwAutoUpgradeInfo with a zeroed record of 2213 bytes, behind which nothing can be written",
     "0, and nothing is written outside of the record",
     "the preferred activation time stays empty: the node activates at midnight"},
    {"identity.activation-time-is-one", kNothing, activationTimeIsOne,
     "the preferred activation time in the record",
     "hh, hh:mm or hh:mm:ss within 32 bytes at offset 2051, 24 hours",
     "the node activates at another time than its owner chose", "identity.upgrade-info-answers"},
    {"identity.same-each-time", kNothing, saysTheSame, "all of these calls, four times",
     "every call may be made again at any time, and says the same while nothing has changed",
     "what the agent compares is different at each look: images are loaded again and again",
     "identity"},
};

} // namespace

std::span<const Check> identityChecks() { return kIdentityChecks; }

} // namespace check
