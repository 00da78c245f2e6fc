// SPDX-License-Identifier: MIT
// The optional table, but for what writes or boots.
#include "tools/platform_check/ground.h"
#include "tools/platform_check/guarded_bytes.h"
#include "tools/platform_check/guards.h"

#include "base/text.h"

#include <cstring>

namespace check {
namespace {

void sizeFits(Ground &ground) {
    ground.player().play(
        [](Platform &platform) {
            takeTable(platform);
            if (platform.given != nullptr && !platform.sizeFits) {
                throw Wrong{"it says that it has " + std::to_string(platform.given->size) +
                            " bytes; here it has " + std::to_string(sizeof(OtaPlatformService))};
            }
        },
        Opening::library);
}

void hasAllOrNone(Ground &ground) {
    ground.player().play(
        [](Platform &platform) {
            takeTable(platform);
            constexpr std::size_t kAll = 6;
            std::string names;
            const auto missing = platform.missingOfTrials();
            for (const std::string &name : missing) {
                names.append(names.empty() ? "" : ", ").append(name);
            }
            if (!missing.empty() && missing.size() < kAll) {
                throw Wrong{"it has no " + names};
            }
        },
        Opening::library);
}

void isTheSame(Ground &ground) {
    ground.player().play(
        [](Platform &platform) {
            const OtaPlatformService *const first = platform.tableOf();
            const OtaPlatformService copy = *first;
            for (int time = 0; time < 3; ++time) {
                const OtaPlatformService *const again = platform.tableOf();
                if (again != first || std::memcmp(&copy, again, copy.size) != 0) {
                    throw Wrong{"the first answer was another than a later one"};
                }
            }
        },
        Opening::library);
}

void opensItself(Ground &ground) {
    ground.player().play([](Platform &) {});
}

void requireWords(const OtaFault &why, const char *call) {
    const std::string text(why.text, strnlen(why.text, sizeof why.text));
    if (text.size() == sizeof why.text ||
        strnlen(why.reason, sizeof why.reason) == sizeof why.reason) {
        throw Wrong{std::string(call) + " failed and gave a text without a NUL"};
    }
    if (text.empty() || text.find('\n') != std::string::npos || !base::isBusText(text)) {
        throw Wrong{std::string(call) + " failed and said " + inQuotes(text)};
    }
}

void refusesMissingConfig(Ground &ground) {
    ground.player().play(
        [](Platform &platform) {
            takeTable(platform);
            if (!platform.open) {
                throw NotLookedAt{"its table has no open"};
            }
            const GuardedBytes why(sizeof(OtaFault), 0);
            if (platform.open("/nowhere/node.conf", static_cast<OtaFault *>(why.get())) == 0) {
                throw Wrong{"open(\"/nowhere/node.conf\") answered 0"};
            }
            requireWords(*static_cast<const OtaFault *>(why.get()), "open");
        },
        Opening::library);
}

void factsAnswer(Ground &ground) {
    ground.player().play([](Platform &platform) { factsOf(platform); });
}

bool isBankNumber(std::int32_t number) { return number == 0 || number == 1; }

std::string shown(const OtaBankFacts &facts) {
    return "active " + std::to_string(facts.active) + ", chosen " + std::to_string(facts.chosen) +
           ", next " + std::to_string(facts.next) + ", trial " + std::to_string(facts.trial) +
           ", healthy " + std::to_string(facts.healthy) + ", " + std::to_string(facts.failedCount) +
           " failed versions";
}

void factsAreInRange(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const OtaBankFacts facts = factsOf(platform);
        const bool right = isBankNumber(facts.active) && isBankNumber(facts.chosen) &&
                           isBankNumber(facts.next) && isBankNumber(facts.healthy) &&
                           (facts.trial == OTA_NO_BANK || isBankNumber(facts.trial)) &&
                           facts.failedCount >= 0 && facts.failedCount <= OTA_FAILED_VERSIONS;
        if (!right) {
            throw Wrong{shown(facts)};
        }
        for (const OtaBank &bank : facts.banks) {
            if (bank.attempts < 0 || bank.attempts > 99 || !isBankNumber(bank.whole)) {
                throw Wrong{"a bank has " + std::to_string(bank.attempts) +
                            " attempts and whole is " + std::to_string(bank.whole)};
            }
        }
    });
}

void factsEndTheirTexts(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const OtaBankFacts facts = factsOf(platform);
        for (const OtaBank &bank : facts.banks) {
            if (strnlen(bank.version, sizeof bank.version) == sizeof bank.version ||
                !base::isBusText(bank.version)) {
                throw Wrong{"the version of a bank is no text that ends within its 64 bytes"};
            }
        }
        for (int at = 0; at < facts.failedCount; ++at) {
            const OtaFailedVersion &failed = facts.failed[at];
            if (failed.version[0] == '\0' || failed.trials < 1 || failed.trials > 99 ||
                strnlen(failed.version, sizeof failed.version) == sizeof failed.version) {
                throw Wrong{
                    "the failed version number " + std::to_string(at) + " is " +
                    inQuotes({failed.version, strnlen(failed.version, sizeof failed.version)}) +
                    " with " + std::to_string(failed.trials) + " trials"};
            }
        }
    });
}

void factsAgree(Ground &ground) {
    ground.player().play([](Platform &platform) {
        keepVersions(platform);
        const OtaBankFacts facts = factsOf(platform);
        const OtaBank &running = facts.banks[facts.active];
        const OtaBank &other = facts.banks[1 - facts.active];
        const std::string version = shared().running.data();
        const std::string previous = shared().other.data();
        if (version != running.version) {
            throw Wrong{"nal_getCurSwVersion says " + inQuotes(version) + ", the facts say " +
                        inQuotes(running.version)};
        }
        if ((other.whole != 0) == previous.empty() ||
            (other.whole != 0 && previous != other.version)) {
            throw Wrong{"nal_getPrevSwVersion says " +
                        (previous.empty() ? "that there is none" : inQuotes(previous)) +
                        ", the facts say that " + inQuotes(other.version) + " is " +
                        (other.whole != 0 ? "whole" : "not whole")};
        }
    });
}

void factsStayTheSame(Ground &ground) {
    ground.player().play([](Platform &platform) {
        const OtaBankFacts first = factsOf(platform);
        for (int time = 0; time < 3; ++time) {
            const OtaBankFacts again = factsOf(platform);
            if (std::memcmp(&first, &again, sizeof first) != 0) {
                throw Wrong{"first " + shown(first) + "; later " + shown(again)};
            }
        }
    });
}

void capacityStaysTheSame(Ground &ground) {
    ground.player().play([](Platform &platform) {
        if (!platform.bankCapacity) {
            throw NotLookedAt{"its table has no bankCapacity"};
        }
        const std::uint64_t first = platform.bankCapacity();
        if (platform.bankCapacity() != first) {
            throw Wrong{"bankCapacity gave two different sizes"};
        }
    });
}

void healthLimitIsOne(Ground &ground) {
    ground.player().play([](Platform &platform) {
        if (!platform.healthLimit) {
            throw NotLookedAt{"its table has no healthLimit"};
        }
        constexpr int kMost = 3600;
        const int seconds = platform.healthLimit();
        if (seconds < 1 || seconds > kMost) {
            throw Wrong{"healthLimit gave " + std::to_string(seconds)};
        }
    });
}

void healthComesBack(Ground &ground) {
    ground.playLong([](Platform &platform) {
        if (!platform.checkHealth) {
            throw NotLookedAt{"its table has no checkHealth"};
        }
        constexpr int kUsual = 60;
        constexpr int kLate = 5;
        const int limit = (platform.healthLimit ? platform.healthLimit() : kUsual) + kLate;
        const GuardedBytes why(sizeof(OtaFault), 0);
        const std::int64_t began = nowMs();
        const int answer = platform.checkHealth(static_cast<OtaFault *>(why.get()));
        if (nowMs() - began > limit * 1000L) {
            throw Wrong{"checkHealth took " + std::to_string((nowMs() - began) / 1000) + " s"};
        }
        if (answer != 0) {
            requireWords(*static_cast<const OtaFault *>(why.get()), "checkHealth");
        }
    });
}

void forgetsNothingUnknown(Ground &ground) {
    ground.player().play([](Platform &platform) {
        if (!platform.forget) {
            throw NotLookedAt{"its table has no forget"};
        }
        const GuardedBytes why(sizeof(OtaFault), 0);
        if (platform.forget("4QZneverFailed", static_cast<OtaFault *>(why.get())) == 0) {
            throw Wrong{"forget answered 0 for a version that never failed"};
        }
        requireWords(*static_cast<const OtaFault *>(why.get()), "forget");
    });
}

constexpr const char *kUnusable = "ota-host ends with platform-unusable: the node takes no upgrade";
constexpr const char *kWrongStatus =
    "status, banks and explain tell an operator what is not so, and "
    "the trial is judged by it";

constexpr Check kTableChecks[] = {
    {"table.size-fits", kEarly | kTable, sizeFits, "size in the table",
     "sizeof(OtaPlatformService) as the platform was compiled", kUnusable, "load.has-every-call"},
    {"table.all-of-a-trial-or-none", kEarly | kTable, hasAllOrNone,
     "bankFacts, beginTrial, failTrial, mayReboot, passTrial and commit in the table",
     "all six of them are there, or none", kUnusable, "table.size-fits"},
    {"table.same-each-time", kEarly | kTable, isTheSame, "otaPlatformService, four times",
     "the same table whenever it is asked for", "what the host took at its start is no longer so",
     "table.size-fits"},
    {"table.opens", kEarly, opensItself, "open with the configuration of --config, and follow",
     "open answers 0; where the table has none of them there is nothing to do", kUnusable,
     "load.has-every-call"},
    {"table.refuses-a-missing-configuration", kEarly | kTable, refusesMissingConfig,
     "open with a file that is not there", "not 0, and one line that says why",
     "a node without its configuration runs with values that nobody chose", "table.size-fits"},
    {"table.facts-answer", kTable | kTrials, factsAnswer,
     "bankFacts with a zeroed record, behind which nothing can be written", "0",
     "the service knows of no bank: status and trial are blind", "table.opens"},
    {"table.facts-in-range", kTable | kTrials, factsAreInRange, "the numbers in the facts",
     "a bank is 0 or 1, trial may be -1, healthy and whole are 0 or 1, attempts are 0 to 99, and at "
     "most 16 versions are remembered",
     "the host takes none of the facts", "table.facts-answer"},
    {"table.facts-end-their-texts", kTable | kTrials, factsEndTheirTexts, "the texts in the facts",
     "each version is UTF-8 and ends with a NUL within its width; a failed one has 1 to 99 trials",
     kWrongStatus, "table.facts-answer"},
    {"table.facts-agree", kTable | kTrials, factsAgree,
     "the facts beside nal_getCurSwVersion and nal_getPrevSwVersion",
     "the active bank holds the running version, and the other one is whole where its version is told",
     kWrongStatus, "identity", "table.facts-in-range"},
    {"table.facts-same-each-time", kTable | kTrials, factsStayTheSame, "bankFacts, four times",
     "the same while nothing has changed", kWrongStatus, "table.facts-answer"},
    {"table.capacity-same-each-time", kTable, capacityStaysTheSame, "bankCapacity, twice",
     "the bytes of the larger bank, or 0", "offers are refused as too large, or found so too late",
     "table.opens"},
    {"table.health-limit", kTable, healthLimitIsOne, "healthLimit", "seconds, from 1 to 3600",
     "a healthy node fails its trial at once, or a dead one is waited for", "table.opens"},
    {"table.health-comes-back", kTable, healthComesBack, "checkHealth",
     "it comes back within healthLimit, and says why where it failed",
     "the node stands still on its new version, which is neither committed nor left",
     "table.health-limit"},
    {"table.forgets-nothing-unknown", kTable, forgetsNothingUnknown,
     "forget with a version that never failed", "not 0, and one line that says why",
     "an operator who mistyped a version believes that it may be offered again", "table.opens"},
};

} // namespace

std::span<const Check> tableChecks() { return kTableChecks; }

} // namespace check
