// SPDX-License-Identifier: MIT
#include "cli/watch_text.h"

#include "base/json.h"
#include "base/outcome.h"
#include "base/terminal.h"
#include "cli/readable.h"
#include "otaSwAgent/status_words.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <string_view>

namespace cli {
namespace {

constexpr std::uint32_t kBarWidth = 30;
constexpr std::uint32_t kPlainStep = 10; // percent between two lines where no bar can be drawn

std::int64_t nowMs() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

base::Tone toneOf(const std::string &record) {
    constexpr std::array<std::string_view, 5> kBad = {
        OTA_STATUS_RECONNECT, OTA_STATUS_CRC_CHECK_FAILED, OTA_STATUS_FLASH_WRITE_FAILED,
        OTA_STATUS_ACTIVATION_FAILED, OTA_STATUS_COMMIT_FAILED};
    const base::Json object = base::parsed(record);
    const std::string word = base::textOf(object.get(), "status");
    if (word == OTA_STATUS_COMMIT_COMPLETE) {
        return base::Tone::good;
    }
    return std::find(kBad.begin(), kBad.end(), word) != kBad.end() ? base::Tone::bad
                                                                   : base::Tone::plain;
}

base::Tone toneOf(const Finished &end) {
    using base::Outcome;
    constexpr std::array kGood = {Outcome::done, Outcome::notNeeded, Outcome::handedOver,
                                  Outcome::writtenOnly, Outcome::activated};
    const bool good = std::any_of(kGood.begin(), kGood.end(), [&end](Outcome outcome) {
        return static_cast<std::uint32_t>(outcome) == end.code;
    });
    return good ? base::Tone::good : base::Tone::bad;
}

std::string progressText(const Node &node, const TransferRate &rate) {
    std::string text = std::to_string(node.percentage) + " %";
    if (const auto bytes = rate.bytesPerSecond()) {
        text += ", " + readableBytes(*bytes) + "/s";
    }
    if (const auto left = rate.secondsLeft(node.percentage); left && node.percentage < 100) {
        text += ", " + readableSpan(*left) + " left";
    }
    return text;
}

std::string bar(std::uint32_t percent) {
    const std::uint32_t filled = std::min(percent, 100U) * kBarWidth / 100;
    return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '-') + "] ";
}

} // namespace

std::string softwareText(const Node &node) {
    std::string text = "unknown";
    for (const Bank &bank : node.banks) {
        if (bank.running) {
            text = bank.version + " from bank " + bank.name;
        }
    }
    for (const Bank &bank : node.banks) {
        if (bank.next && !bank.running) {
            text += "; " + bank.version + " from bank " + bank.name + " boots next";
        }
    }
    return text;
}

std::string statusText(const std::string &record) {
    const base::Json object = base::parsed(record);
    const std::string word = base::textOf(object.get(), "status");
    const std::string version = base::textOf(object.get(), "curswversion");
    if (word.empty()) {
        return record;
    }
    // This word names the new version as current before anything runs it.
    if (word == OTA_STATUS_ACTIVATION_COMPLETE && !version.empty()) {
        return word + " (new " + version + ", running " +
               base::textOf(object.get(), "prevswversion") + ")";
    }
    return version.empty() ? word : word + " (running " + version + ")";
}

void TextWatch::line(const std::string &name, const std::string &text, base::Tone tone) {
    display_.line(base::timeOfDay() + "  " + name +
                      std::string(name.size() < 10 ? 10 - name.size() : 0, ' '),
                  "  " + text, tone);
}

void TextWatch::service(bool running) {
    stage_.clear();
    download_.clear();
    deadlines_.clear();
    line("service", running ? "otad is on the bus" : "otad is not on the bus; waiting for it",
         running ? base::Tone::plain : base::Tone::bad);
}

void TextWatch::snapshot(const Node &node) {
    line("node", node.model + ", " + node.serial + (node.mac.empty() ? "" : ", " + node.mac));
    if (!node.statusWord.empty()) {
        line("status", statusText(node.statusRecord), toneOf(node.statusRecord));
    }
    stage(node);
    takeTimers(node);
    if (!deadlines_.empty()) {
        line("timers", timersText());
    }
}

void TextWatch::status(const std::string &record) {
    line("status", statusText(record), toneOf(record));
}

void TextWatch::stage(const Node &node) {
    stage_ = node.stage;
    download_.clear();
    toldPercent_ = 0;
    line("stage", node.version.empty() ? node.stage
                                       : node.stage + ", " + node.version + ", ticket " +
                                             std::to_string(node.ticket));
}

void TextWatch::software(const Node &node) { line("software", softwareText(node)); }

void TextWatch::progress(const Node &node, const TransferRate &rate) {
    if (node.stage != "downloading") {
        return;
    }
    if (display_.hasFoot()) {
        download_ = bar(node.percentage) + progressText(node, rate);
        return;
    }
    toldPercent_ = std::min(toldPercent_, node.percentage);
    if (node.percentage / kPlainStep > toldPercent_ / kPlainStep) {
        toldPercent_ = node.percentage;
        line("download", progressText(node, rate));
    }
}

void TextWatch::timers(const Node &node) {
    takeTimers(node);
    line("timers", deadlines_.empty() ? "none" : timersText());
}

void TextWatch::takeTimers(const Node &node) {
    const std::int64_t now = nowMs();
    deadlines_.clear();
    for (const Timer &timer : node.timers) {
        deadlines_.push_back({timer.name, now + std::int64_t{timer.seconds} * 1000});
    }
}

std::string TextWatch::timersText() const {
    const std::int64_t now = nowMs();
    std::string text;
    for (const Deadline &deadline : deadlines_) {
        const std::int64_t left = std::max<std::int64_t>(0, deadline.endMs - now);
        text += (text.empty() ? "" : ", ") + deadline.name + " in " +
                readableSpan(static_cast<std::uint64_t>(left + 999) / 1000);
    }
    return text;
}

void TextWatch::finished(const Finished &end) {
    std::string text = "ticket " + std::to_string(end.ticket) + ": " + end.result;
    const base::OutcomeRow *const row = base::rowOfCode(static_cast<int>(end.code));
    if (hasReason(end)) {
        text += " (" + end.reasonCode + ")";
    }
    if (!end.reason.empty()) {
        text += ", " + end.reason;
    } else if (row != nullptr) {
        text += std::string(", ") + row->meaning;
    }
    line("finished", text, toneOf(end));
}

void TextWatch::extender(const std::string &mac, const std::string &record) {
    line("extender", mac + ": " + statusText(record), toneOf(record));
}

void TextWatch::extenderFileServer(const std::string &mac, const std::string &info) {
    const base::Json object = base::parsed(info);
    line("hand-over", mac + ": " + base::textOf(object.get(), "swVersion") + " from " +
                          base::textOf(object.get(), "fileServerURL"));
}

// Most lines of the history tell what the other signals have told; these do not.
void TextWatch::history(const std::string &line) {
    constexpr std::array<std::string_view, 11> kOwn = {
        "refused",         "taken-up",    "host-crashed",      "root-failed",
        "setting-changed", "agent-waits", "request-waits",     "state-damaged",
        "cancelled",       "boot",        base::kAttemptFailed};
    const base::Json object = base::parsed(line);
    const std::string event = base::textOf(object.get(), "event");
    if (std::find(kOwn.begin(), kOwn.end(), event) == kOwn.end()) {
        return;
    }
    const std::string reason = base::textOf(object.get(), "reason");
    const std::string next = base::textOf(object.get(), "next");
    this->line(event, reason + (reason.empty() || next.empty() ? "" : "; ") + next);
}

void TextWatch::tick() { display_.foot(download_.empty() ? timersText() : download_); }

} // namespace cli
