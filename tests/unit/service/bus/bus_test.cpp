// SPDX-License-Identifier: MIT
// One thread for service and client: the loop is turned until what is waited for is there.
#include "bus_test.h"

#include <chrono>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr auto kRetryAfter = 20ms;
constexpr auto kLimit = 60s;
constexpr std::uint64_t kTurnUs = 10'000;

} // namespace

void FakeDaemon::take(const std::string &call, Answer answer) {
    calls.push_back(call);
    if (refusal) {
        answer(&*refusal, 0);
    } else if (ticket != 0) {
        answer(nullptr, ticket);
    } else {
        pending.push_back(std::move(answer));
    }
}

void FakeDaemon::offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) {
    take("offer " + descriptor + " " + std::to_string(flags.offload) + " " +
             std::to_string(flags.initialOnboarding) + " " + std::to_string(flags.firstPolling),
         std::move(answer));
}

void FakeDaemon::triggerMobileApp(int newswavailflag, Answer answer) {
    take("trigger " + std::to_string(newswavailflag), std::move(answer));
}

void FakeDaemon::setActivationTime(std::string record, Answer answer) {
    take("activate-at " + record, std::move(answer));
}

void FakeDaemon::cancel(std::uint64_t which, Answer answer) {
    take("cancel " + std::to_string(which), std::move(answer));
}

void FakeDaemon::commit(Answer answer) { take("commit", std::move(answer)); }

void FakeDaemon::forget(std::string version, Answer answer) {
    take("forget " + version, std::move(answer));
}

void FakeDaemon::changeSetting(std::string name, std::string value, Answer answer) {
    take("set " + name + " " + value, std::move(answer));
}

std::vector<std::string> FakeDaemon::history(std::uint32_t count) {
    calls.push_back("history " + std::to_string(count));
    return {R"({"event":"boot"})", R"({"event":"accepted"})"};
}

std::vector<std::pair<std::string, std::string>> FakeDaemon::explain() {
    return {{"node", "Nothing was offered yet."}, {"queue", "Nothing waits."}};
}

BusTest::BusTest() {
    sd_event *loop = nullptr;
    EXPECT_GE(sd_event_new(&loop), 0);
    loop_.reset(loop);
    daemon_.node.statusWord = "OTA_IDLE";
}

bool BusTest::comesTrue(const std::function<bool()> &condition) {
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        EXPECT_GE(sd_event_run(loop_.get(), kTurnUs), 0);
    }
    return true;
}

bool BusTest::arrives(const ReplyRef &reply) {
    return reply != nullptr && comesTrue([&reply] { return reply->arrived; });
}

std::unique_ptr<service::BusService> BusTest::newService(const std::string &address) {
    auto service =
        std::make_unique<service::BusService>(loop_.get(), address, daemon_, kRetryAfter);
    service->onEvents({[this] { events_.emplace_back("connected"); },
                       [this](const std::string &why) { events_.push_back("lost: " + why); },
                       [this](const std::string &why) { events_.push_back("refused: " + why); }});
    return service;
}

void BusTest::startService() {
    ASSERT_TRUE(bus_.start());
    service_ = newService(bus_.address());
    ASSERT_TRUE(service_->start());
    ASSERT_TRUE(comesTrue([this] { return service_->connected(); }));
    client_ = std::make_unique<Client>(loop_.get(), bus_.address());
    ASSERT_TRUE(arrives(client_->listen()));
}

// A signal of the service's own marks the end: the bus keeps their order.
std::vector<std::string> BusTest::heard() {
    service_->raiseHistory("fence");
    EXPECT_TRUE(comesTrue([this] {
        return !client_->heard.empty() && client_->heard.back().content == "\"fence\"";
    }));
    std::vector<std::string> all;
    for (const Heard &signal : client_->heard) {
        all.push_back(signal.member + " " + signal.content);
    }
    all.pop_back();
    client_->heard.clear();
    return all;
}

std::string BusTest::resultOf(const ReplyRef &reply) {
    if (!arrives(reply)) {
        return "no reply";
    }
    return reply->error.empty() ? reply->content : reply->error + ": " + reply->content;
}
