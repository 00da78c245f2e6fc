// SPDX-License-Identifier: MIT
// Links to a broker, and a loop that turns for them.
#ifndef TESTS_SERVICE_UPLINK_ROOT_FIXTURE_H
#define TESTS_SERVICE_UPLINK_ROOT_FIXTURE_H

#include "broker.h"
#include "service/uplink/root_link.h"

#include <chrono>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

inline constexpr const char *kExtender = "02:00:00:00:00:0A";
inline constexpr const char *kGateway = "02:00:00:00:00:01";

/* One link with what came out of it. */
struct Node {
    std::unique_ptr<service::RootLink> link;
    std::vector<service::FromExtender> taken;
    std::vector<bool> connections;
    std::vector<std::string> answers; // to publish, in their order

    void publish(service::FromExtender::Kind kind, std::string text);
};

class RootTest : public testing::Test {
  protected:
    using Kind = service::FromExtender::Kind;
    using milliseconds = std::chrono::milliseconds;

    RootTest();
    ~RootTest() override;

    /* A temporary folder with an authority "ca" and a certificate "server" for 127.0.0.1. */
    const std::filesystem::path &folder() const { return folder_; }
    /* Impatient times: what fails, fails soon. */
    static service::RootTimes times(milliseconds publish = milliseconds(600));
    service::RootConfig config(int port) const;
    std::unique_ptr<Node> extender(const service::RootConfig &config,
                                   service::RootTimes times = RootTest::times(),
                                   const std::string &mac = kExtender) const;
    std::unique_ptr<Node> gateway(const service::RootConfig &config,
                                  service::RootTimes times = RootTest::times()) const;
    /* Turns the loop until the condition holds; false after `patience`. */
    static bool turn(const std::vector<Node *> &nodes, const std::function<bool()> &condition,
                     milliseconds patience = milliseconds(60000));
    /* Turns the loop that long. */
    static void turnFor(const std::vector<Node *> &nodes, milliseconds time);
    /* Publishes and turns until the answer is there. */
    static std::string answerTo(Node &node, Kind kind, const std::string &text);
    static milliseconds timeOf(const std::function<void()> &action);
    /* The envelope of a report, as the agent prints it. */
    static std::string report(const std::string &mac = kExtender,
                              const std::string &word = "OTA_SW_COMMIT_COMPLETE");
    static std::string fileServerInfo();

  private:
    std::filesystem::path folder_;
};

#endif
