// SPDX-License-Identifier: MIT
// The real bus service in a thread of its own.
#include "fake_service.h"

#include <array>
#include <chrono>
#include <cstdlib>
#include <sys/eventfd.h>
#include <unistd.h>

FakeService::FakeService(std::string address)
    : node(someNode()), address_(std::move(address)), wake_(eventfd(0, EFD_NONBLOCK)) {}

FakeService::~FakeService() {
    stop();
    close(wake_);
}

bool FakeService::start() {
    started_ = {};
    leaves_ = false;
    std::future<bool> started = started_.get_future();
    thread_ = std::thread([this] { serve(); });
    return started.wait_for(std::chrono::seconds(60)) == std::future_status::ready && started.get();
}

void FakeService::serve() {
    sd_event *raw = nullptr;
    if (sd_event_new(&raw) < 0) {
        std::abort();
    }
    const service::EventLoop loop(raw);
    service::BusService service(loop.get(), address_, *this, std::chrono::milliseconds(20));
    service_ = &service;
    bool told = false;
    sd_event_add_io(
        loop.get(), nullptr, wake_, EPOLLIN,
        [](sd_event_source *, int, std::uint32_t, void *self) {
            static_cast<FakeService *>(self)->runTasks();
            return 0;
        },
        this);
    if (!service.start()) {
        started_.set_value(false);
        return;
    }
    while (!leaves_ && sd_event_run(loop.get(), UINT64_MAX) >= 0) {
        if (!told && service.connected()) {
            told = true;
            started_.set_value(true);
        }
    }
    const std::lock_guard lock(mutex_);
    held_.clear();
    service_ = nullptr;
}

void FakeService::runTasks() {
    std::uint64_t count = 0;
    static_cast<void>(read(wake_, &count, sizeof count));
    const std::unique_lock lock(mutex_);
    while (!tasks_.empty()) {
        tasks_.front()(*service_);
        tasks_.pop_front();
    }
}

void FakeService::raise(const std::function<void(service::BusService &)> &raise) {
    std::packaged_task<void(service::BusService &)> task(raise);
    std::future<void> done = task.get_future();
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    const std::uint64_t one = 1;
    static_cast<void>(write(wake_, &one, sizeof one));
    done.wait();
}

void FakeService::stop() {
    if (thread_.joinable()) {
        raise([this](service::BusService &) { leaves_ = true; });
        thread_.join();
    }
}

void FakeService::change(const std::function<void(service::NodeStatus &)> &change) {
    raise([this, &change](service::BusService &service) {
        change(node);
        service.statusChanged();
    });
}

std::vector<std::string> FakeService::calls() {
    std::vector<std::string> calls;
    raise([this, &calls](service::BusService &) { calls = calls_; });
    return calls;
}

void FakeService::take(const std::string &call, const Answer &answer) {
    calls_.push_back(call);
    if (beforeAnswer) {
        beforeAnswer(*service_);
    }
    if (holdsAnswers) {
        held_.push_back(answer);
    } else {
        answer(refusal ? &*refusal : nullptr, ticket);
    }
}

void FakeService::offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) {
    take("offer " + std::to_string(flags.offload) + " " + std::to_string(flags.initialOnboarding) +
             " " + std::to_string(flags.firstPolling) + " " + descriptor,
         answer);
}

void FakeService::triggerMobileApp(int newswavailflag, Answer answer) {
    take("trigger " + std::to_string(newswavailflag), answer);
}

void FakeService::setActivationTime(std::string record, Answer answer) {
    take("activate-at " + record, answer);
}

void FakeService::cancel(std::uint64_t which, Answer answer) {
    take("cancel " + std::to_string(which), answer);
}

void FakeService::commit(Answer answer) { take("commit", answer); }

void FakeService::forget(std::string version, Answer answer) { take("forget " + version, answer); }

void FakeService::changeSetting(std::string name, std::string value, Answer answer) {
    take("set " + name + " " + value, answer);
}

std::vector<std::string> FakeService::history(std::uint32_t count) {
    calls_.push_back("history " + std::to_string(count));
    return historyLines;
}

std::vector<std::pair<std::string, std::string>> FakeService::explain() { return sentences; }

service::NodeStatus someNode() {
    service::NodeStatus node;
    node.statusWord = "OTA_SW_COMMIT_COMPLETE";
    node.statusRecord = R"({"model":"GW-1000","curswversion":"4QZ2.0.0",)"
                        R"("status":"OTA_SW_COMMIT_COMPLETE"})";
    node.stage = "downloading";
    node.version = "4QZ2.1.0";
    node.percentage = 25;
    node.downloadedBytes = 1024 * 1024;
    node.timers = {{"rebootTimer", 4800}};
    node.banks = {{"a", "4QZ2.0.0", true, true, true}, {"b", "", false, false, false}};
    node.bankTrials = {{"a", false, 0, 0, ""}, {"b", false, 0, 0, ""}};
    node.uptime = 3600;
    node.queued = 1;
    node.ticket = 6;
    node.model = "GW-1000";
    node.serial = "SN1";
    node.mac = "02:00:5E:00:53:01";
    node.workMode = "RGW";
    node.workRole = "Controller";
    node.preferredActivationTime = "02:30:00";
    node.daemonVersion = OTA_VERSION;
    return node;
}
