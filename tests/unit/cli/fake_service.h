// SPDX-License-Identifier: MIT
// The real bus service in a thread of its own, with a daemon behind it that answers as a test says.
#ifndef TESTS_CLI_FAKE_SERVICE_H
#define TESTS_CLI_FAKE_SERVICE_H

#include "service/bus/bus_service.h"
#include "service/bus/handles.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

class FakeService : public service::BusCalls {
  public:
    explicit FakeService(std::string address);
    ~FakeService() override;
    FakeService(const FakeService &) = delete;
    FakeService &operator=(const FakeService &) = delete;

    /* Comes back once the name is taken; false: it was not within ten seconds. */
    bool start();
    /* Leaves the bus at once. */
    void stop();
    /* Changes what the node tells, and tells it. */
    void change(const std::function<void(service::NodeStatus &)> &change);
    /* Runs this on the service's thread and waits for its end. */
    void raise(const std::function<void(service::BusService &)> &raise);

    /* Set while it does not run, or from within raise. */
    service::NodeStatus node;
    std::uint64_t ticket = 7;
    std::optional<guard::Refusal> refusal;
    bool holdsAnswers = false;
    std::vector<std::string> historyLines;
    std::vector<std::pair<std::string, std::string>> sentences;
    std::map<std::string, std::uint64_t> counted;
    /* On the service's thread, right before a call is answered. */
    std::function<void(service::BusService &)> beforeAnswer;

    /* "member argument argument", in order. */
    std::vector<std::string> calls();

    void calledBy(uid_t) override {}
    void offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) override;
    void triggerMobileApp(int newswavailflag, Answer answer) override;
    void setActivationTime(std::string record, Answer answer) override;
    void cancel(std::uint64_t which, Answer answer) override;
    void commit(Answer answer) override;
    void forget(std::string version, Answer answer) override;
    void changeSetting(std::string name, std::string value, Answer answer) override;
    std::vector<std::string> history(std::uint32_t count) override;
    std::vector<std::pair<std::string, std::string>> explain() override;
    const std::map<std::string, std::uint64_t> &counters() override { return counted; }
    const service::NodeStatus &status() override { return node; }

  private:
    void serve();
    void take(const std::string &call, const Answer &answer);
    void runTasks();

    std::string address_;
    std::thread thread_;
    int wake_; // an eventfd
    std::mutex mutex_;
    std::deque<std::packaged_task<void(service::BusService &)>> tasks_;
    std::vector<std::string> calls_;
    std::vector<Answer> held_;
    std::promise<bool> started_;
    bool leaves_ = false;
    service::BusService *service_ = nullptr; // of the thread, while it serves
};

/* A node in the middle of a download. */
service::NodeStatus someNode();

#endif
