// SPDX-License-Identifier: MIT
// Links to a broker, and a loop that turns for them.
#include "root_fixture.h"

#include "base/json.h"

#include <cstdlib>
#include <poll.h>

void Node::publish(service::FromExtender::Kind kind, std::string text) {
    link->publish(kind, std::move(text), [this](const base::Result<void> &published) {
        answers.push_back(published ? "" : published.error().text);
    });
}

RootTest::RootTest() {
    std::string name = testing::TempDir() + "root-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        std::abort();
    }
    folder_ = name;
    makeAuthority(folder_, "ca");
    makeCertificate(folder_, "ca", "server", "broker", "IP:127.0.0.1");
}

RootTest::~RootTest() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

service::RootTimes RootTest::times(milliseconds publish) {
    return {publish, milliseconds(60000), milliseconds(30), milliseconds(60)};
}

service::RootConfig RootTest::config(int port) const {
    return {"127.0.0.1", port, folder_ / "ca.pem", "", "", "otaSwAgent"};
}

std::unique_ptr<Node> RootTest::extender(const service::RootConfig &config,
                                         service::RootTimes times, const std::string &mac) const {
    auto node = std::make_unique<Node>();
    node->link = std::make_unique<service::RootLink>(config, "node-" + mac, mac, false, times);
    return node;
}

std::unique_ptr<Node> RootTest::gateway(const service::RootConfig &config,
                                        service::RootTimes times) const {
    auto node = std::make_unique<Node>();
    node->link = std::make_unique<service::RootLink>(config, "node-gateway", kGateway, true, times);
    return node;
}

bool RootTest::turn(const std::vector<Node *> &nodes, const std::function<bool()> &condition,
                    milliseconds patience) {
    constexpr int kTurnMs = 10;
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::vector<pollfd> entries;
        for (const Node *node : nodes) {
            entries.push_back({node->link->fd(), POLLIN, 0});
        }
        poll(entries.data(), entries.size(), kTurnMs);
        for (Node *node : nodes) {
            node->link->dispatch(
                [node](const service::Unchecked &one) { node->taken.push_back(one.check(false)); },
                [node](bool up) { node->connections.push_back(up); });
            node->link->tick();
        }
    }
    return true;
}

void RootTest::turnFor(const std::vector<Node *> &nodes, milliseconds time) {
    turn(
        nodes, [] { return false; }, time);
}

std::string RootTest::answerTo(Node &node, Kind kind, const std::string &text) {
    const std::size_t before = node.answers.size();
    node.publish(kind, text);
    if (!turn({&node}, [&] { return node.answers.size() > before; })) {
        return "no answer at all";
    }
    return node.answers.back();
}

RootTest::milliseconds RootTest::timeOf(const std::function<void()> &action) {
    const auto begin = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
}

std::string RootTest::report(const std::string &mac, const std::string &word) {
    const std::string record = "{\n\t\"model\":\t\"M\",\n\t\"curswversion\":\t\"4QZ2\",\n"
                               "\t\"prevswversion\":\t\"\",\n\t\"mac\":\t\"" +
                               mac + "\",\n\t\"sn\":\t\"S\",\n\t\"status\":\t\"" + word + "\"\n}";
    const base::Json envelope = base::message({{"type", "swmgnt_info"}});
    base::add(envelope.get(), "sequence", 1);
    base::add(envelope.get(), "mac", "");
    base::add(envelope.get(), "version", "1.0.0");
    base::add(envelope.get(), "data",
              base::message({{"signalname", "updateUpgradeStatus"}, {"signaldata", record}}));
    return base::printedInLines(envelope.get());
}

std::string RootTest::fileServerInfo() {
    return R"({"fileServerURL":"https://files.example/image","activationTime":"02:30",)"
           R"("checksum":"0123456789abcdef0123456789abcdef","swVersion":"4QZ2.1"})";
}
