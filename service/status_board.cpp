// SPDX-License-Identifier: MIT
#include "service/status_board.h"

#include "base/bridge_address.h"
#include "base/file_io.h"
#include "base/timed.h"
#include "service/state/agent_memory_text.h"

#include <algorithm>
#include <charconv>
#include <sys/stat.h>

namespace service {
namespace {

constexpr const char *kDownloading = "downloading";
constexpr std::int64_t kGlanceMs = 250;
constexpr std::uint32_t kWhole = 100;
// The agent names the image file by so many characters of the version.
constexpr std::size_t kImageName = 14;
constexpr const char *kProgressFile = "/ota_dwld_prog";
constexpr std::size_t kProgressText = 16; // more than any percentage has

std::vector<TimerLeft> leftOf(const std::vector<ArmedTimer> &timers) {
    std::vector<TimerLeft> left;
    left.reserve(timers.size());
    for (const ArmedTimer &timer : timers) {
        left.push_back({timer.name, secondsLeft(timer)});
    }
    return left;
}

BankView viewOf(const base::BankNews &news, int bank) {
    const OtaBank &held = news.facts.banks[bank];
    BankView view;
    view.version = held.version;
    view.whole = held.whole != 0;
    view.running = bank == news.facts.active;
    // Where the platform does not tell which bank is which, they are named by what they are now.
    view.name = news.hasTrial ? base::bankName(bank) : view.running ? "running" : "other";
    view.next = news.hasTrial && bank == news.facts.next;
    return view;
}

BankTrial trialOf(const base::BankNews &news, int bank) {
    const OtaBankFacts &facts = news.facts;
    BankTrial trial;
    trial.bank = viewOf(news, bank).name;
    trial.trial = facts.trial == bank;
    trial.attempts = trial.trial ? static_cast<std::uint32_t>(facts.banks[bank].attempts) : 0;
    if (const auto *const failed = base::failedVersion(facts, facts.banks[bank].version)) {
        trial.failedTrials = static_cast<std::uint32_t>(failed->trials);
        trial.lastFailure = base::failureName(failed->last);
    }
    return trial;
}

// The agent writes it through a shell: it may be empty for a moment, or hold a mark of failure.
std::uint32_t percentIn(const std::string &path, std::time_t since) {
    struct stat file {};
    std::string text;
    if (!base::readPlainFile(path, kProgressText, text, file) || file.st_mtime < since) {
        return 0; // of an earlier download
    }
    std::uint32_t percent = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), percent);
    return parsed.ec == std::errc() ? std::min(percent, kWhole) : 0;
}

} // namespace

StatusBoard::StatusBoard(sd_event *loop, const node::Config &config, const RequestBook &book,
                         const NodeTimers &timers, std::function<void()> changed)
    : config_(config), book_(book), timers_(timers), changed_(std::move(changed)),
      glance_(loop, [this] { lookAtDownload(); }) {
    status_.model = config.model;
    status_.serial = config.serial;
    status_.daemonVersion = OTA_VERSION;
}

void StatusBoard::setStage(const std::string &stage) {
    if (stage == kDownloading && callStage_ != kDownloading) {
        downloadSince_ = std::time(nullptr);
        status_.percentage = 0;
        status_.downloadedBytes = 0;
        glance_.setInMs(kGlanceMs);
    } else if (stage == "verifying") {
        lookAtDownload(); // a short download may have ended between two glances
        status_.percentage = kWhole;
    } else if (stage.empty()) {
        status_.percentage = 0;
        status_.downloadedBytes = 0;
    }
    callStage_ = stage;
    refresh();
}

void StatusBoard::setReport(const std::string &word, const std::string &record) {
    status_.statusWord = word;
    status_.statusRecord = record;
    changed_();
}

void StatusBoard::setReboot(Reboot reboot) {
    reboot_ = reboot;
    refresh();
}

void StatusBoard::setHostMac(const std::string &mac) {
    hostMac_ = mac;
    lookAtAddress();
}

// Where the bridge was ever seen from here, the host sees the same one, and it may be gone by now.
void StatusBoard::lookAtAddress() {
    const std::string own = base::bridgeAddress();
    sawBridge_ = sawBridge_ || !own.empty();
    const std::string &mac = sawBridge_ ? own : hostMac_;
    if (mac != status_.mac) {
        status_.mac = mac;
        changed_();
    }
}

void StatusBoard::setSettings(const node::Config &config) {
    status_.workMode = config.workMode;
    status_.workRole = config.workRole;
    status_.onboarding = config.onboarding;
    status_.preferredActivationTime = config.preferredActivationTime;
    changed_();
}

void StatusBoard::setWaitReason(const std::string &code, const std::string &sentence) {
    waitReason_ = {code, sentence};
    showWaitReason();
}

void StatusBoard::setHostFailure(const base::Error &failure) {
    hostFailure_ = failure;
    showWaitReason();
    refresh();
}

// No request goes on before the host runs.
void StatusBoard::showWaitReason() {
    const bool fails = !hostFailure_.text.empty();
    status_.waitReasonCode = fails ? base::rowOf(hostFailure_.reason).name : waitReason_.first;
    status_.waitReason = fails ? hostFailure_.text : waitReason_.second;
    changed_();
}

void StatusBoard::setLastEnd(const base::End &end) {
    status_.lastEnd = end;
    changed_();
}

void StatusBoard::setRootConnected(bool connected) {
    status_.rootConnected = connected;
    changed_();
}

// What was known stays where the boot state cannot be read.
void StatusBoard::setBanks(const base::BankNews &news) {
    const OtaBankFacts &facts = news.facts;
    status_.banks = {viewOf(news, 0), viewOf(news, 1)};
    status_.bankTrials = {trialOf(news, 0), trialOf(news, 1)};
    status_.failedVersions.clear();
    for (int i = 0; i < facts.failedCount; ++i) {
        const OtaFailedVersion &one = facts.failed[i];
        const bool refused =
            config_.refuseAfterTrials != 0 && one.trials >= config_.refuseAfterTrials;
        status_.failedVersions.push_back({one.version, static_cast<std::uint32_t>(one.trials),
                                          base::failureName(one.last), refused});
    }
    status_.runningVersion = facts.banks[facts.active].version;
    status_.nextVersion = news.hasTrial ? facts.banks[facts.next].version : "";
    status_.trialSupported = news.hasTrial;
    activeBank_ = news.hasTrial ? base::bankName(facts.active) : "";
    changed_();
}

void StatusBoard::refresh() {
    const Ledger &ledger = book_.ledger();
    status_.timers = leftOf(timers_.armed());
    status_.queued = static_cast<std::uint32_t>(ledger.queue.size());
    status_.ticket = ledger.running   ? ledger.running->request.ticket
                     : ledger.waiting ? ledger.waiting->offer.ticket
                                      : 0;
    status_.version = ledger.running && !ledger.running->request.version.empty()
                          ? ledger.running->request.version
                      : ledger.waiting ? ledger.waiting->offer.version
                                       : "";
    status_.deferred = ledger.waiting && ledger.waiting->deferred;
    status_.activationTime = AgentMemoryText(ledger.memory).namedTime();
    status_.stage = callStage_.empty() || callStage_ == "idle" ? restingStage() : callStage_;
    changed_();
}

std::string StatusBoard::restingStage() const {
    const Ledger &ledger = book_.ledger();
    if (reboot_ == Reboot::overdue) {
        return kRebootOverdue;
    }
    // While the activating call is done again it may not be.
    if ((ledger.waiting && ledger.waiting->activated) ||
        (reboot_ == Reboot::due && !ledger.running)) {
        return "rebooting";
    }
    // A request between two stages, or between a crash and its redoing, is not over.
    const bool waits =
        ledger.running || ledger.waiting || !timers_.armed().empty() || !hostFailure_.text.empty();
    return waits ? "waiting" : "idle";
}

const NodeStatus &StatusBoard::status() {
    status_.timers = leftOf(timers_.armed());
    status_.uptime = static_cast<std::uint64_t>(bootNowMs() / base::kMsPerSecond);
    return status_;
}

std::uint64_t StatusBoard::bytesOfImage(const std::string &version) const {
    const std::string image = config_.tmpDirectory + "/" + version.substr(0, kImageName);
    const bool inABank =
        std::any_of(status_.banks.begin(), status_.banks.end(),
                    [&](const BankView &bank) { return bank.whole && bank.version == version; });
    struct stat file {};
    return !version.empty() && !inABank && lstat(image.c_str(), &file) == 0 && S_ISREG(file.st_mode)
               ? static_cast<std::uint64_t>(file.st_size)
               : 0;
}

void StatusBoard::lookAtDownload() {
    if (callStage_ != kDownloading) {
        return;
    }
    status_.downloadedBytes = std::max(status_.downloadedBytes, bytesOfImage(status_.version));
    const std::uint32_t percent = percentIn(config_.tmpDirectory + kProgressFile, downloadSince_);
    status_.percentage = std::max(status_.percentage, percent);
    changed_();
    glance_.setInMs(kGlanceMs);
}

} // namespace service
