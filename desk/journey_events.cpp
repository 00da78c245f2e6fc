// SPDX-License-Identifier: MIT
// What the events of a node's watch mean and how they are shown.
#include "desk/journey.h"

#include "desk/failure.h"

#include "base/message.h"

#include "otaSwAgent/status_words.h"

#include <algorithm>
#include <array>
#include <utility>

namespace desk {
namespace {

constexpr int kCrashesInARow = 3;

std::string describe(const cJSON *record) {
    const std::string current = base::textOf(record, "curswversion");
    const std::string previous = base::textOf(record, "prevswversion");
    // This word names the new version as current before anything runs it.
    const bool early = base::textOf(record, "status") == OTA_STATUS_ACTIVATION_COMPLETE;
    return (early ? "new " + current + ", running " + previous
                  : "running " + current + ", previous " + (previous.empty() ? "none" : previous)) +
           ", " + base::textOf(record, "model") + " " + base::textOf(record, "sn") + ", " +
           base::textOf(record, "mac");
}

// The agent sleeps behind some of its words; a person who watches should know.
void tellPause(Display &display, const std::string &word, bool fast) {
    struct Row {
        const char *word;
        int seconds;
    };
    static constexpr std::array kRows{
        Row{OTA_STATUS_ACTIVATION_COMPLETE, 10},
        Row{OTA_STATUS_ACTIVATION_REBOOT_COMPLETE, 20},
        Row{OTA_STATUS_SWAP_PASSIVE, 5},
    };
    for (const Row &row : kRows) {
        if (word == row.word) {
            display.more("(the agent pauses for " + std::to_string(row.seconds) + " s" +
                         (fast ? ", which pass at once)" : ")"));
        }
    }
}

const cJSON *member(const cJSON *object, const char *key) {
    return cJSON_GetObjectItemCaseSensitive(object, key);
}

} // namespace

void Journey::takeEvents() {
    while (const base::Json event = service_.next()) {
        lastEvent_ = Clock::now();
        take(event.get());
    }
}

void Journey::take(const cJSON *event) {
    const std::string kind = base::textOf(event, "event");
    if (kind == "service") {
        running_ = cJSON_IsTrue(member(event, "running")) != 0;
    } else if (kind == "status") {
        takeStatus(event);
    } else if (kind == "progress") {
        takeProgress(event);
    } else if (kind == "finished") {
        takeFinished(event);
    } else if (kind == "history") {
        takeHistory(member(event, "line"));
    } else if (kind == "extender") {
        reported_(base::textOf(event, "mac"), member(event, "record"));
    } else if (kind == "extender-file-server") {
        handedOver_(base::textOf(event, "mac"), member(event, "info"));
    }
}

void Journey::takeStatus(const cJSON *event) {
    const cJSON *const record = member(event, "record");
    const std::string word = base::textOf(record, "status");
    tellNews();
    tell(story_.wordCame(word));
    witness_.words.push_back(word);
    const bool activates =
        word == OTA_STATUS_ACTIVATION_COMPLETE || word == OTA_STATUS_ACTIVATION_FAILED;
    witness_.early = witness_.early || (activates && beforeTheTime());
    display_.step("status", word);
    display_.more(describe(record));
    tellPause(display_, word, scene_.fast);
}

void Journey::takeProgress(const cJSON *event) {
    Progress progress{.percent = base::numberOf(event, "percent")};
    progress.bytesPerSecond = static_cast<std::uint64_t>(base::numberOf(event, "rate"));
    progress.secondsLeft = base::numberOf(event, "seconds_left");
    // Between downloads it is 0; where only the bytes rose, there is nothing to draw.
    if (progress.percent > 0 && progress.percent != lastPercent_) {
        display_.progress(progress);
    }
    lastPercent_ = progress.percent;
}

void Journey::takeFinished(const cJSON *event) {
    const auto ticket = static_cast<std::uint64_t>(base::numberOf(event, "ticket"));
    const int code = base::numberOf(event, "code");
    open_.erase(ticket);
    if (code != 0) {
        const std::string why = base::textOf(event, "reason_code");
        display_.step("outcome", base::textOf(event, "result") + " (" + std::to_string(code) +
                                     (why.empty() || why == "none" ? "" : ", " + why) + ")");
        display_.more(base::textOf(event, "reason"));
    }
}

void Journey::takeHistory(const cJSON *line) {
    const std::string event = base::textOf(line, "event");
    const std::string reason = base::textOf(line, "reason");
    if (event == "stage") {
        crashes_ = 0;
        tell(story_.stageBegan(reason));
    } else if (event.starts_with("timer-")) {
        tellTimer(event, reason);
    } else if (event == "host-crashed") {
        tellCrash(reason, base::textOf(line, "next"));
    } else if (event == "taken-up") {
        witness_.takenUp = true;
        display_.step("taken up",
                      "ticket " + std::to_string(base::numberOf(line, "ticket")) + ": " + reason);
    } else if (event == "trial") {
        display_.step("trial", reason);
    } else if (event == "trial-failed") {
        why_ = reason;
        display_.step("trial", "FAILED: " + reason);
    } else if (event == "agent-waits") {
        display_.step("agent", reason);
    } else if (event == "root-failed") {
        display_.step("root", "NOT reached: " + reason);
    } else if (event == "state-damaged") {
        display_.step("state", reason);
    }
}

void Journey::tellTimer(const std::string &event, const std::string &reason) {
    const std::string name = reason.substr(0, reason.find(' '));
    tellNews();
    if (event == "timer-started") {
        tell(story_.timerStarted(name));
        const std::string passed = std::exchange(passed_, "");
        display_.step("timer", passed.starts_with(name) ? passed : reason);
    } else {
        display_.step("timer", name + (event == "timer-stopped" ? " stopped" : " ran out"));
    }
}

void Journey::tellCrash(const std::string &reason, const std::string &next) {
    display_.step("host process", reason + (next.empty() ? "" : "; " + next));
    if (++crashes_ >= kCrashesInARow) {
        const std::string last = lastErrorLine(traveller_.log);
        throw Failure("the node's host process does not start" +
                      (last.empty() ? "" : ", having said: " + last) + "; its log is " +
                      traveller_.log.string());
    }
}

void Journey::tell(const std::optional<Tale> &tale) {
    if (tale) {
        const std::string why = tale->failed ? std::exchange(why_, "") : "";
        display_.step(tale->step, why.empty() ? tale->text : "NOT: " + why);
    }
}

void Journey::tellNews() {
    for (const LogNews &news : log_.news()) {
        switch (news.kind) {
        case LogNews::Kind::failedDownload:
            witness_.failedDownloads.push_back(news.text);
            display_.step("download", news.text);
            break;
        case LogNews::Kind::gaveUp:
            display_.step("download", news.text);
            break;
        case LogNews::Kind::calculated:
            why_ = "the image's MD5 sum is " + news.text + ", another one was offered";
            break;
        case LogNews::Kind::refusal:
            why_ = witness_.refusal = news.text;
            break;
        case LogNews::Kind::passedTimer:
            passed_ = news.text;
            break;
        }
    }
}

// True where the road sets a time to activate at, and it has not come. The agent counts in whole
// seconds.
bool Journey::beforeTheTime() const {
    const bool isSet = std::count(steps_.begin(), steps_.end(), Step::activationTime) == 0;
    return !isSet || (activationAt_ && std::time(nullptr) < *activationAt_ - 1);
}

void Journey::reportedAtTheRoot(const cJSON *report) {
    const std::string text = base::printed(report);
    // The broker may bring a message twice where the gateway was down in between.
    if (text == lastReport_) {
        return;
    }
    lastReport_ = text;
    witness_.atTheRoot.push_back(base::textOf(report, "status"));
    display_.step("at the root", witness_.atTheRoot.back() + ", raised on the gateway's bus");
    display_.more(describe(report));
}

void Journey::handedOverAtTheRoot(const cJSON *info) {
    witness_.handedOver = base::textOf(info, "fileServerURL") == scene_.server.imageUrl() &&
                          base::textOf(info, "swVersion") == kNewVersion;
    display_.step("hand-off",
                  base::textOf(info, "swVersion") + " from " + base::textOf(info, "fileServerURL"));
}

} // namespace desk
