// SPDX-License-Identifier: MIT
// Takes the steps of a road and tells what the node does.
#include "desk/demonstration.h"

#include "desk/failure.h"
#include "desk/files.h"
#include "desk/message.h"
#include "desk/sizes.h"

#include "otaSwAgent/status_words.h"
#include "platform/evbus.h"
#include "platform/timers.h"

#include <array>
#include <ctime>

namespace desk {
namespace {

constexpr int kActivationDelay = 5; // seconds from now to the activation time that is set

std::string upper(const char *bank) {
    return std::string("bank ") + static_cast<char>(*bank - 'a' + 'A');
}

std::string timeOfDay(std::time_t at) {
    std::tm local{};
    localtime_r(&at, &local);
    std::array<char, 16> text{};
    std::strftime(text.data(), text.size(), "%H:%M:%S", &local);
    return text.data();
}

std::string describe(const cJSON *record) {
    const std::string previous = textOf(record, "prevswversion");
    return "running " + textOf(record, "curswversion") + ", previous " +
           (previous.empty() ? "none" : previous) + ", " + textOf(record, "model") + " " +
           textOf(record, "sn") + ", " + textOf(record, "mac");
}

// The agent sleeps behind some of its words; a person who watches should know.
void tellPause(Display &display, const std::string &word) {
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
            display.more("(the agent pauses for " + std::to_string(row.seconds) + " s)");
        }
    }
}

std::string wrongSum(std::string sum) {
    sum[0] = sum[0] == '0' ? '1' : '0';
    return sum;
}

} // namespace

Demonstration::Demonstration(const Options &options, const Road &road, const NodeFolder &node,
                             const FileServer &server, const Image &image, const HostProgram &host,
                             Display &display, const Interrupt &interrupt)
    : options_(options), road_(road), node_(node), server_(server), image_(image),
      display_(display), progress_(node.progress(), image.size), story_(host.log),
      supervisor_(node, host, host.fast, *this, interrupt), fast_(host.fast) {}

Witness Demonstration::run() {
    const auto deadline = Clock::now() + options_.limit;
    auto step = road_.steps.begin();
    supervisor_.boot();
    for (;;) {
        if (supervisor_.idle()) {
            tellNews();
            if (step != road_.steps.end()) {
                take(*step++);
            } else if (!supervisor_.sendDueTimer() && !supervisor_.timersRun()) {
                break;
            }
        }
        supervisor_.turn();
        tellNews();
        if (cutPending_ && node_.downloadedBytes() > 0) {
            cutPowerDuringDownload();
        }
        if (Clock::now() > deadline) {
            throw Failure("the node did not come to an end within " +
                          std::to_string(options_.limit.count()) + " s; the last step was \"" +
                          display_.lastStep() + "\"");
        }
    }
    tellHandOff();
    supervisor_.shutDown();
    return witness_;
}

void Demonstration::take(Step step) {
    switch (step) {
    case Step::offer:
        return offer(server_.imageUrl());
    case Step::offerThenCut:
        cutPending_ = true;
        return offer(server_.slowImageUrl());
    case Step::mobileTrigger:
        return trigger();
    case Step::activationTime:
        return moveActivationTime();
    case Step::damageBank:
        return damageBank();
    }
}

void Demonstration::damageBank() {
    node_.damagePassiveBank();
    display_.step("damage", "a byte of the passive bank changes, nobody is told");
}

void Demonstration::offer(const std::string &url) {
    display_.step("offer", std::string(kNewVersion) + " for " + kMac + ", policy " +
                               std::to_string(options_.policy));
    display_.more(url);
    const std::string sum = md5Of(image_.path);
    const host::Json descriptor = message({{"model", kModel},
                                           {"nxtMSVersion", kNewVersion},
                                           {"fileServerURL", url},
                                           {"checksum", road_.wrongChecksum ? wrongSum(sum) : sum},
                                           {"mac", kMac}});
    cJSON_AddNumberToObject(descriptor.get(), "policy", options_.policy);
    const host::Json event =
        message({{"event", "new-image"}, {"descriptor", printed(descriptor.get())}});
    cJSON *config = cJSON_AddObjectToObject(event.get(), "config");
    cJSON_AddNumberToObject(config, "OffloadDownloadActivate", road_.offload ? 1 : 0);
    cJSON_AddNumberToObject(config, "initial_obardingStatus", 0);
    cJSON_AddNumberToObject(config, "firsttime_polling", road_.firstPoll ? 1 : 0);
    progress_.restart();
    supervisor_.send(event.get());
}

void Demonstration::trigger() {
    const std::string data = readFile(node_.agentData());
    if (data.empty()) {
        throw Failure("no window opened: " + node_.agentData().string() + " is not there");
    }
    std::string shown = data;
    for (std::size_t end = 0; (end = shown.find('\n', end)) != std::string::npos;) {
        shown.replace(end, 1, " | ");
    }
    display_.step("agent data", shown + "  (waiting | running | offered, for the mobile app)");
    display_.step("mobile app", "the user says: now");
    const host::Json event = message({{"event", "mobile-trigger"}});
    cJSON_AddNumberToObject(event.get(), "newswavailflag", 1);
    progress_.restart();
    supervisor_.send(event.get());
}

void Demonstration::moveActivationTime() {
    const std::string at = timeOfDay(std::time(nullptr) + kActivationDelay);
    display_.step("activation",
                  "moved to " + at + ", " + std::to_string(kActivationDelay) + " s from now");
    const host::Json record =
        message({{"model", kModel}, {"mac", kMac}, {"sn", kSerial}, {"actTime", at}});
    supervisor_.send(
        message({{"event", "activation-time"}, {"record", printed(record.get())}}).get());
}

void Demonstration::cutPowerDuringDownload() {
    cutPending_ = false;
    display_.step("power cut",
                  "in the middle of the download, after " + readableSize(node_.downloadedBytes()));
    supervisor_.cutPower();
    const nal::BootState state = node_.bootState();
    if (state.of(nal::otherBank(state.active)).whole) {
        throw Failure("the power was cut in a download, yet the passive bank is marked as whole");
    }
}

void Demonstration::booted(const NodeBoot &boot) {
    if (!boot.passedOver.empty()) {
        display_.step("boot loader", boot.passedOver);
    }
    const nal::BootState &state = boot.state;
    display_.step("boot",
                  state.of(state.active).version + " from " + upper(nal::bankName(state.active)));
}

void Demonstration::signalled(const std::string &name, const std::string &data) {
    tellNews();
    const host::Json record = parsed(data);
    if (name != EVBUS_STATUS_SIGNAL || !record) {
        throw Failure("an unknown signal \"" + name + "\" came from the node");
    }
    witness_.words.push_back(textOf(record.get(), "status"));
    display_.step("status", witness_.words.back());
    display_.more(describe(record.get()));
    if (!fast_) {
        tellPause(display_, witness_.words.back());
    }
}

void Demonstration::rootNotified(const std::string &text) {
    const host::Json envelope = parsed(text);
    const cJSON *content = cJSON_GetObjectItemCaseSensitive(envelope.get(), "data");
    const host::Json record = parsed(textOf(content, "signaldata"));
    if (!record) {
        throw Failure("a notification to the root cannot be read: " + text);
    }
    ++witness_.rootNotifications;
    display_.step("to the root", textOf(envelope.get(), "type") + " " +
                                     textOf(envelope.get(), "version") + ", sequence " +
                                     std::to_string(numberOf(envelope.get(), "sequence")) +
                                     ", signal " + textOf(content, "signalname"));
    display_.more("carries " + textOf(record.get(), "status") + ", " + describe(record.get()));
}

void Demonstration::timerStarted(const std::string &name, int seconds) {
    tellNews();
    display_.step("timer", name + " in " + std::to_string(seconds) + " s");
}

void Demonstration::timerStopped(const std::string &name) {
    display_.step("timer", name + " stopped");
}

void Demonstration::timerRanOut(const std::string &name) {
    display_.step("timer", name + " ran out");
    if (name != TIMER_REBOOT) {
        progress_.restart();
    }
}

void Demonstration::rebooting() {
    if (road_.damageAtReboot) {
        damageBank();
    }
    display_.step("reboot", "the node goes down");
}

void Demonstration::tellNews() {
    if (const auto progress = progress_.look()) {
        display_.progress(*progress);
    }
    for (const Tale &tale : story_.news()) {
        display_.step(tale.step, tale.text);
    }
}

void Demonstration::tellHandOff() {
    const host::Json handOff = parsed(readFile(node_.handOff()));
    if (handOff) {
        witness_.handedOver = true;
        display_.step("hand-off", printed(handOff.get()));
    }
}

} // namespace desk
