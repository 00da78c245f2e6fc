// SPDX-License-Identifier: MIT
#include "host/platform_library.h"

#include "base/text.h"
#include "base/trusted_path.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <span>
#include <unistd.h>
#include <utility>
#include <vector>

namespace host {
namespace {

constexpr const char *kReference = "libotaSwPlatform.so";
constexpr const char *kWithoutWords = "the platform says no more";

// What the agent calls and the host does not have.
constexpr std::array kAgentsCalls{"nal_getTmpDirectory",
                                  "nal_getConfigsDirectory",
                                  "nal_getLogsDirectory",
                                  "nal_getHIECertifcatePath",
                                  "nal_getNodeInfo",
                                  "nal_getCurSwVersion",
                                  "nal_getPrevSwVersion",
                                  "nal_getWorkMode",
                                  "nal_getWorkRole",
                                  "nal_getRootOnBoardingStatus",
                                  "nal_getSwAutoUpgradeInfo",
                                  "nal_writePassiveImage",
                                  "nal_activatePassiveImage",
                                  "nal_fallBackToActiveImage",
                                  "nalLogNotice",
                                  "nalLogError"};

std::string loadedFrom;
PlatformCalls calls;
OtaPlatformService table{};
bool withTrials = false; // all functions of a trial are in the table

base::Error unusable(const std::string &what) { return {what, base::Reason::platformUnusable}; }

base::Result<std::string> besideThisProgram() {
    std::array<char, PATH_MAX> self{};
    const ssize_t length = readlink("/proc/self/exe", self.data(), self.size());
    if (length <= 0 || static_cast<std::size_t>(length) == self.size()) {
        return unusable("where this program lies cannot be told, /proc/self/exe does not say it; "
                        "name the platform with --platform");
    }
    const std::string_view path(self.data(), static_cast<std::size_t>(length));
    return std::string(path.substr(0, path.rfind('/') + 1)) + kReference;
}

// Whoever can write to the program's own folder needs no platform to become root.
base::Result<std::string> placeOf(const std::string &path) {
    if (path.empty()) {
        return besideThisProgram();
    }
    if (const std::string flaw = base::whyNotTrusted(path); !flaw.empty()) {
        return unusable("the platform cannot be trusted: " + flaw);
    }
    // A name without a slash would be searched in the system's directories.
    return path.find('/') == std::string::npos ? "./" + path : path;
}

template <typename Function>
void findCall(void *library, const char *name, Function &function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
}

std::string inOneLine(const std::vector<std::string> &names) {
    std::string line;
    for (const std::string &name : names) {
        line.append(line.empty() ? "" : ", ").append(name);
    }
    return line;
}

base::Result<void> findCalls(void *library, const std::string &place) {
    std::vector<std::string> missing;
    for (const char *const name : kAgentsCalls) {
        if (dlsym(library, name) == nullptr) {
            missing.emplace_back(name);
        }
    }
    if (!missing.empty()) {
        return unusable(place + ": has no " + inOneLine(missing) +
                        "; a platform has every function of platform/nal.h");
    }
    findCall(library, "nal_getTmpDirectory", calls.tmpDirectory);
    findCall(library, "nal_getLogsDirectory", calls.logsDirectory);
    findCall(library, "nal_getCurSwVersion", calls.runningVersion);
    findCall(library, "nal_getPrevSwVersion", calls.otherVersion);
    findCall(library, "nal_writePassiveImage", calls.writePassiveImage);
    findCall(library, "nal_activatePassiveImage", calls.activatePassiveImage);
    findCall(library, "nalLogNotice", calls.logNotice);
    findCall(library, "nalLogError", calls.logError);
    return {};
}

// A bank that was put on trial and is never marked good would be left again without a word.
base::Result<void> takeTrials(const std::string &place) {
    const std::array<std::pair<const char *, bool>, 6> needed{
        {{"bankFacts", table.bankFacts != nullptr},
         {"beginTrial", table.beginTrial != nullptr},
         {"failTrial", table.failTrial != nullptr},
         {"mayReboot", table.mayReboot != nullptr},
         {"passTrial", table.passTrial != nullptr},
         {"commit", table.commit != nullptr}}};
    std::vector<std::string> missing;
    for (const auto &[name, isThere] : needed) {
        if (!isThere) {
            missing.emplace_back(name);
        }
    }
    withTrials = missing.empty();
    return withTrials || missing.size() == needed.size()
               ? base::Result<void>()
               : unusable(place + ": its table has no " + inOneLine(missing) +
                          "; a platform with trials has all six of them (platform/service.h)");
}

// A platform of an earlier header has fewer members, one of a later header more.
base::Result<void> takeTable(void *library, const std::string &place) {
    decltype(&::otaPlatformService) tableOf = nullptr;
    findCall(library, "otaPlatformService", tableOf);
    const OtaPlatformService *const given = tableOf == nullptr ? nullptr : tableOf();
    if (given == nullptr) {
        return {};
    }
    if (given->size < sizeof given->size || given->size % alignof(OtaPlatformService) != 0) {
        return unusable(place + ": its table says that it has " + std::to_string(given->size) +
                        " bytes; set size to sizeof(OtaPlatformService)");
    }
    std::memcpy(&table, given, std::min<std::size_t>(given->size, sizeof table));
    return takeTrials(place);
}

base::Result<void> openItself(const std::string &config) {
    OtaFault fault{};
    const int answer = table.open == nullptr ? 0 : table.open(config.c_str(), &fault);
    if (answer == 0) {
        return {};
    }
    const base::Error error = errorOf(fault);
    return answer == OTA_CONFIG_WRONG ? base::Error{error.text, base::Reason::configWrong} : error;
}

// The agent puts them into shell commands, and writes through links that it finds there.
base::Result<void> lookAtDirectories() {
    const std::array directories{calls.tmpDirectory(), calls.logsDirectory()};
    for (const char *const directory : directories) {
        if (directory == nullptr || *directory == '\0') {
            return unusable(loadedFrom + ": names no directory for downloads or for logs");
        }
        if (const std::string flaw = base::whyNotTrusted(directory); !flaw.empty()) {
            return unusable(loadedFrom + ": its directory cannot be trusted: " + flaw);
        }
    }
    return {};
}

bool isBank(std::int32_t number) { return number == 0 || number == 1; }

// The text comes from a library of somebody else's, and goes to the bus.
void mend(std::span<char> text) {
    text.back() = '\0';
    if (!base::isBusText(text.data())) {
        base::copyText(base::plain(text.data()), text.data(), text.size());
    }
}

base::Result<base::BankNews> checked(base::BankNews news) {
    OtaBankFacts &facts = news.facts;
    if (!isBank(facts.active) || !isBank(facts.chosen) || !isBank(facts.next) ||
        (facts.trial != OTA_NO_BANK && !isBank(facts.trial)) || !isBank(facts.healthy) ||
        facts.failedCount < 0 || facts.failedCount > OTA_FAILED_VERSIONS) {
        return base::Error{"the platform's facts of the banks are none: a bank is 0 or 1, "
                           "healthy too, and at most " +
                           std::to_string(OTA_FAILED_VERSIONS) + " versions are remembered"};
    }
    for (OtaBank &bank : facts.banks) {
        mend(bank.version);
        bank.whole = bank.whole == 0 ? 0 : 1;
        bank.attempts = std::clamp(bank.attempts, 0, base::kMostCounted);
    }
    for (OtaFailedVersion &failed : facts.failed) {
        mend(failed.version);
        failed.trials = std::clamp(failed.trials, 1, base::kMostCounted);
        failed.last = failed.last == OTA_FAILED_HEALTH ? OTA_FAILED_HEALTH : OTA_FAILED_BOOT;
    }
    return news;
}

// A platform without trials: which bank is which nobody tells.
base::BankNews versionsAlone() {
    base::BankNews news{false, {}};
    news.facts.trial = OTA_NO_BANK;
    news.facts.chosen = news.facts.next = news.facts.active;
    OtaBank &running = news.facts.banks[0];
    OtaBank &other = news.facts.banks[1];
    running.whole = calls.runningVersion(running.version) == 0 ? 1 : 0;
    other.whole = calls.otherVersion(other.version) == 0 ? 1 : 0;
    return news;
}

base::Result<void> load(const std::string &path) {
    const auto place = placeOf(path);
    if (!place) {
        return place.error();
    }
    void *const library = dlopen(place->c_str(), RTLD_NOW | RTLD_GLOBAL);
    if (library == nullptr) {
        return unusable(std::string("the platform cannot be opened: ") + dlerror() +
                        "; give a platform's library for this machine with --platform");
    }
    loadedFrom = *place;
    return findCalls(library, *place).andThen([&] { return takeTable(library, *place); });
}

void takeFinding(void *context, std::int32_t kind, const char *line) {
    auto &findings = *static_cast<base::ConfigFindings *>(context);
    (kind == OTA_CONFIG_MISTAKE    ? findings.mistakes
     : kind == OTA_CONFIG_OBSTACLE ? findings.obstacles
                                   : findings.warnings)
        .push_back(base::printable(line));
}

} // namespace

base::Result<void> openPlatform(const std::string &path, const std::string &config) {
    return load(path).andThen([&] { return openItself(config); }).andThen([] {
        return lookAtDirectories();
    });
}

base::Result<base::ConfigFindings> checkPlatformsConfig(const std::string &path,
                                                        const std::string &config) {
    if (const auto loaded = load(path); !loaded) {
        return loaded.error();
    }
    base::ConfigFindings findings;
    if (table.checkConfig != nullptr) {
        table.checkConfig(config.c_str(), takeFinding, &findings);
    }
    return findings;
}

const PlatformCalls &platformCalls() { return calls; }

const OtaPlatformService &platformService() { return table; }

bool hasTrials() { return withTrials; }

base::Error errorOf(const OtaFault &fault) {
    const std::string name(fault.reason, strnlen(fault.reason, sizeof fault.reason));
    const std::string text(fault.text, strnlen(fault.text, sizeof fault.text));
    const base::ReasonRow *const row = base::rowOfReason(name);
    return {text.empty() ? kWithoutWords : base::printable(text),
            row == nullptr ? base::Reason::none : row->reason};
}

base::Result<base::BankNews> bankNews() {
    if (!hasTrials()) {
        return checked(versionsAlone());
    }
    base::BankNews news;
    if (const auto told = ask(table.bankFacts, "", &news.facts); !told) {
        return told.error();
    }
    return checked(news);
}

std::string runningVersion(const OtaBankFacts &facts) {
    return std::span(facts.banks)[static_cast<std::size_t>(facts.active)].version;
}

} // namespace host
