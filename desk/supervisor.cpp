// SPDX-License-Identifier: MIT
// The supervisor's turns: channel, calls, reboots.
#include "desk/supervisor.h"

#include "desk/failure.h"
#include "desk/log_story.h"
#include "desk/message.h"

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace desk {
namespace {

using namespace std::chrono_literals;

constexpr int kTurnMs = 50;
// The handler goes on behind its reboot command until the system goes down.
constexpr auto kRebootTakes = 3s;
constexpr auto kEndTakes = 2s;

// What is known of a host's end a moment after its channel closed.
std::string endingOf(Child &process) {
    const auto deadline = std::chrono::steady_clock::now() + kEndTakes;
    while (std::chrono::steady_clock::now() < deadline) {
        if (const auto ending = process.ending()) {
            return "with " + *ending;
        }
        std::this_thread::sleep_for(10ms);
    }
    return "its channel but runs on";
}

} // namespace

Supervisor::Supervisor(const NodeFolder &folder, HostProgram host, bool virtualTime,
                       Observer &observer, const Interrupt &interrupt)
    : folder_(folder), host_(std::move(host)), timers_(virtualTime), observer_(observer),
      interrupt_(interrupt) {}

void Supervisor::boot() {
    const NodeBoot booted = folder_.boot();
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        throw Failure("no socket pair for the host: too many open files? Raise the limit");
    }
    channel_.emplace(ends[0]);
    Launch launch{{host_.program.string(), "--library", host_.library.string(), "--config",
                   "node.conf", "--channel", std::to_string(ends[1])},
                  folder_.path(),
                  host_.log};
    // A proxy of whoever runs the desk would carry the download off this machine.
    launch.environment = {{"OTA_DESK_MAC", kMac},
                          {"OTA_DESK_FAST", host_.fast ? "1" : "0"},
                          {"no_proxy", "*"},
                          {"NO_PROXY", "*"}};
    launch.inheritedFd = ends[1];
    launch.fileLimit = host_.fileLimit;
    process_ = Child(launch);
    close(ends[1]);
    state_ = State::busy;
    observer_.booted(booted);
}

void Supervisor::send(const cJSON *event) {
    std::string error;
    if (!channel_->post(event, error)) {
        hostEnded(error);
    }
    state_ = State::busy;
}

bool Supervisor::sendDueTimer() {
    const auto name = timers_.takeDue();
    if (!name) {
        return false;
    }
    observer_.timerRanOut(*name);
    send(message({{"event", "timer"}, {"name", *name}}).get());
    return true;
}

void Supervisor::cutPower() {
    process_.kill();
    timers_.clear();
    rebootAtLatest_.reset();
    boot();
}

void Supervisor::turn() {
    std::array<pollfd, 2> waiting{
        {{channel_->fd(), static_cast<short>(channel_->wantsToWrite() ? POLLIN | POLLOUT : POLLIN),
          0},
         {interrupt_.fd(), POLLIN, 0}}};
    poll(waiting.data(), waiting.size(), kTurnMs);
    interrupt_.check();
    std::string error;
    if (!channel_->flush(error)) {
        hostEnded(error);
    }
    if (waiting[0].revents != 0) {
        readChannel();
    }
    if (rebootAtLatest_ && Clock::now() > *rebootAtLatest_) {
        reboot();
    }
}

void Supervisor::readChannel() {
    std::string error;
    if (!channel_->feed(error)) {
        hostEnded(error);
    }
    for (;;) {
        host::Json object;
        switch (channel_->next(object, error)) {
        case host::Channel::Status::message:
            handle(object.get());
            break;
        case host::Channel::Status::nothing:
            return;
        case host::Channel::Status::endOfFile:
            hostEnded("");
        case host::Channel::Status::error:
            hostEnded(error);
        }
    }
}

void Supervisor::handle(const cJSON *message) {
    if (cJSON_HasObjectItem(message, "done")) {
        eventDone();
    } else {
        answer(message, textOf(message, "call"));
    }
}

void Supervisor::eventDone() {
    state_ = State::idle;
    if (rebootAtLatest_) {
        reboot();
    }
}

void Supervisor::answer(const cJSON *message, const std::string &call) {
    struct Row {
        const char *call;
        void (Supervisor::*handler)(const cJSON *);
    };
    static constexpr std::array kRows{
        Row{"signal", &Supervisor::onSignal},         Row{"notifyRoot", &Supervisor::onNotifyRoot},
        Row{"startTimer", &Supervisor::onStartTimer}, Row{"stopTimer", &Supervisor::onStopTimer},
        Row{"reboot", &Supervisor::onReboot},
    };
    const auto row = std::find_if(kRows.begin(), kRows.end(),
                                  [&](const Row &candidate) { return call == candidate.call; });
    if (row == kRows.end()) {
        throw Failure("the host asks for \"" + call +
                      "\", which this desk does not know: are both of one build?");
    }
    (this->*row->handler)(message);
    const host::Json ack(cJSON_CreateObject());
    cJSON_AddNumberToObject(ack.get(), "ack", 0);
    std::string error;
    if (!channel_->post(ack.get(), error)) {
        hostEnded(error);
    }
}

void Supervisor::onSignal(const cJSON *message) {
    observer_.signalled(textOf(message, "name"), textOf(message, "data"));
}

void Supervisor::onNotifyRoot(const cJSON *message) {
    observer_.rootNotified(textOf(message, "config"));
}

void Supervisor::onStartTimer(const cJSON *message) {
    const int seconds = numberOf(message, "seconds");
    timers_.start(textOf(message, "name"), seconds);
    observer_.timerStarted(textOf(message, "name"), seconds);
}

void Supervisor::onStopTimer(const cJSON *message) {
    timers_.stop(textOf(message, "name"));
    observer_.timerStopped(textOf(message, "name"));
}

void Supervisor::onReboot(const cJSON * /*message*/) {
    if (!rebootAtLatest_) {
        rebootAtLatest_ = Clock::now() + kRebootTakes;
        observer_.rebooting();
    }
}

void Supervisor::reboot() {
    rebootAtLatest_.reset();
    timers_.clear();
    shutDown();
    boot();
}

void Supervisor::shutDown() {
    channel_.reset();
    const auto deadline = Clock::now() + kEndTakes;
    while (state_ == State::idle && process_.running() && Clock::now() < deadline) {
        process_.ending();
        std::this_thread::sleep_for(5ms);
    }
    process_.kill();
    state_ = State::off;
}

void Supervisor::hostEnded(const std::string &why) {
    std::string text = "the host ended " + endingOf(process_);
    if (!why.empty()) {
        text += " (" + why + ")";
    }
    const std::string last = lastLine(host_.log);
    if (!last.empty()) {
        text += ", having said: " + last;
    }
    throw Failure(text + "; its log is " + host_.log.string());
}

} // namespace desk
