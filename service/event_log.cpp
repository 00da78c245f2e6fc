// SPDX-License-Identifier: MIT
#include "service/event_log.h"

#include "service/state/line_source.h"

#include <cstdio>
#include <ctime>
#include <utility>

namespace service {
namespace {

constexpr std::int64_t kLeftOutMs = 1000; // between two looks

std::string sentence(const HistoryLine &line) {
    std::string text = line.event;
    if (line.ticket != 0) {
        text += ", ticket " + std::to_string(line.ticket);
    }
    for (const std::string &part : {line.version, line.reason, line.next}) {
        if (!part.empty()) {
            text += ": " + part;
        }
    }
    return text;
}

} // namespace

void EventLog::record(HistoryLine line) {
    if (line.next == "nothing") {
        line.next.clear(); // the tables' word where there is nothing to do
    }
    if (const std::uint64_t lines = history_.takeUnwritten(); lines > 0) {
        tellNow(
            {.event = "history-gap",
             .outcome = base::Outcome::failed,
             .reasonCode = base::Reason::historyGap,
             .reason = std::to_string(lines) + " lines are not on the disk, which did not keep up",
             .next = "look at the disk of the state directory"});
    }
    tellNow(std::move(line));
}

SenderLimit::Verdict EventLog::judge(const std::string &sender, std::string_view what) {
    const auto verdict = limit_.judge(sender, what, SenderLimit::Clock::now());
    if (verdict != SenderLimit::Verdict::tell && !leftOut_.isSet()) {
        leftOut_.setInMs(kLeftOutMs);
    }
    return verdict;
}

bool EventLog::admitsNow(const std::string &sender, std::string_view what) {
    return limit_.admitsNow(sender, what, SenderLimit::Clock::now());
}

void EventLog::tellLeftOut() {
    for (const auto &[sender, count] : limit_.takeLeftOut(SenderLimit::Clock::now())) {
        record({.event = sender.starts_with(kFromTheBus) ? "refused" : "extender-report",
                .outcome = base::Outcome::failed,
                .reasonCode = base::Reason::senderLimited,
                .reason = sender + ": and " + std::to_string(count) + " more, which are left out",
                .next = "find out why it sends so much"});
    }
    if (limit_.hasLeftOut()) {
        leftOut_.setInMs(kLeftOutMs);
    }
}

void EventLog::endStage() {
    if (!stage_.empty()) {
        left_ = {std::exchange(stage_, {}), bootNowMs() - stageSinceMs_};
    }
}

// Of a download the board has the bytes until the next call begins.
StageLeft EventLog::takeLeft(const HistoryLine &line) {
    StageLeft left = std::exchange(left_, {});
    if (left.name == "downloading") {
        left.bytes = board_.lastStatus().downloadedBytes;
    }
    if (line.event == "stage") {
        stage_ = line.stage;
        stageSinceMs_ = bootNowMs();
    }
    return left;
}

void EventLog::tellNow(HistoryLine line) {
    const NodeStatus &status = board_.lastStatus();
    if (line.stage.empty()) {
        line.stage = status.stage;
    }
    line.number = history_.nextNumber();
    const std::string node = status.mac.empty() ? status.serial : status.mac;
    const std::string text = formatHistoryLine(line, std::time(nullptr), node, takeLeft(line));
    history_.add(text);
    counters_.count(text);
    bus_.raiseHistory(text);
    // Stages and reports are in the agent's own log lines already.
    if (line.event != "stage" && line.event != "status") {
        logNotice(sentence(line));
    }
}

void logNotice(const std::string &text) {
    std::fprintf(stderr, "notice: otad: %s\n", text.c_str());
}

void logWarning(const std::string &text) {
    std::fprintf(stderr, "warning: otad: %s\n", text.c_str());
}

void logError(const std::string &text) { std::fprintf(stderr, "error: otad: %s\n", text.c_str()); }

} // namespace service
