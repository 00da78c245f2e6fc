// SPDX-License-Identifier: MIT
// The service on a private bus, with a daemon behind it that answers as the test says.
#ifndef TESTS_SERVICE_BUS_BUS_TEST_H
#define TESTS_SERVICE_BUS_BUS_TEST_H

#include "client.h"
#include "private_bus.h"

#include "service/bus/bus_service.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class FakeDaemon : public service::BusCalls {
  public:
    void calledBy(uid_t user) override { caller = user; }
    void offerImage(std::string descriptor, guard::OfferFlags flags, Answer answer) override;
    void triggerMobileApp(int newswavailflag, Answer answer) override;
    void setActivationTime(std::string record, Answer answer) override;
    void cancel(std::uint64_t ticket, Answer answer) override;
    void commit(Answer answer) override;
    void forget(std::string version, Answer answer) override;
    void changeSetting(std::string name, std::string value, Answer answer) override;
    std::vector<std::string> history(std::uint32_t count) override;
    std::vector<std::pair<std::string, std::string>> explain() override;
    const std::map<std::string, std::uint64_t> &counters() override { return counted; }
    const service::NodeStatus &status() override { return node; }

    uid_t caller = service::kNobodyKnown;
    std::vector<std::string> calls;
    // With it a call is answered at once, without it the answer waits in `pending`.
    std::uint64_t ticket = 0;
    std::optional<guard::Refusal> refusal;
    std::vector<Answer> pending;
    service::NodeStatus node;
    std::map<std::string, std::uint64_t> counted;

  private:
    void take(const std::string &call, Answer answer);
};

class BusTest : public testing::Test {
  protected:
    BusTest();

    // Turns the loop until the condition holds; false: it did not within ten seconds.
    bool comesTrue(const std::function<bool()> &condition);
    bool arrives(const ReplyRef &reply);
    // The service as it stands on the bus, and a client that hears it.
    void startService();
    std::unique_ptr<service::BusService> newService(const std::string &address);
    // What the client has heard up to now, as "member content".
    std::vector<std::string> heard();
    // The reply's content, or "error name: message".
    std::string resultOf(const ReplyRef &reply);

    service::EventLoop loop_;
    FakeDaemon daemon_;
    PrivateBus bus_;
    std::unique_ptr<service::BusService> service_;
    std::unique_ptr<Client> client_;
    std::vector<std::string> events_; // of all services
};

#endif
