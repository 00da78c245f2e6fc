// SPDX-License-Identifier: MIT
// A node in a temporary directory: configuration, two banks, boot state, images.
#include "fixture.h"

#include "faults.h"
#include "node/boot.h"
#include "node/digest.h"
#include "node/image_manifest.h"
#include "platform/nal.h"
#include "platform/open.h"
#include "tests/support/content_of.h"
#include "tests/support/results.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

void writeText(const std::string &path, const std::string &text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    file.close();
    ASSERT_TRUE(file) << path;
}

std::string readText(const std::string &path) { return contentOf(path); }

std::string payloadOf(std::size_t size, unsigned seed) {
    std::string payload;
    std::uint32_t state = seed;
    for (std::size_t i = 0; i < size; ++i) {
        state = state * 1664525U + 1013904223U;
        payload.push_back(static_cast<char>(state >> 24));
    }
    return payload;
}

std::string imageOf(const std::string &payload, const std::string &version,
                    const std::string &model) {
    std::string trailer;
    std::string whatIsWrong;
    const node::ImageManifest manifest{version, model, payload.size(), node::sha256Of(payload)};
    EXPECT_TRUE(took(node::formatImageTrailer(manifest), trailer, whatIsWrong)) << whatIsWrong;
    return payload + trailer;
}

InTemporaryDirectory::InTemporaryDirectory() {
    umask(S_IWGRP | S_IWOTH); // a node that others may write to is refused
    std::string name = testing::TempDir() + "nal-test-XXXXXX";
    directory_ = mkdtemp(name.data()) == nullptr ? "" : name;
    if (directory_.empty()) {
        std::abort();
    }
}

InTemporaryDirectory::~InTemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

OnANode::OnANode()
    : configPath_(in("node.conf")), statePath_(in("boot_state")),
      cameFrom_(std::filesystem::current_path()) {
    for (const char *name : {"tmp", "configs", "logs"}) {
        std::filesystem::create_directory(in(name));
    }
    std::filesystem::current_path(in("."));
    writeText(configPath_, configWith("", ""));
    resetNode();
}

OnANode::~OnANode() {
    faults::clear();
    std::error_code ignored;
    std::filesystem::current_path(cameFrom_, ignored);
}

void OnANode::resetNode() const {
    const std::string running = imageOf(payloadOf(5000), "1.0.0");
    writeText(in("bank_a"), running + std::string(kBankSize - running.size(), '\0'));
    writeText(in("bank_b"), std::string(kBankSize, '\xEE'));
    node::BootState state;
    state.of(node::Bank::a) = {true, "1.0.0", running.size(), node::sha256Of(running)};
    std::string whatIsWrong;
    EXPECT_TRUE(succeeds(node::makeBootState(statePath_, state), whatIsWrong)) << whatIsWrong;
}

std::string OnANode::configWith(const std::string &key, const std::string &line) const {
    const std::pair<std::string, std::string> lines[] = {
        {"", "[node]"},
        {"model", "model = GW-1000"},
        {"serial", "serial = SN42"},
        {"work_mode", "work_mode = RGW"},
        {"work_role", "work_role = Controller"},
        {"onboarding", "onboarding = 0"},
        {"preferred_activation_time", "preferred_activation_time = 02:30"},
        {"", "[paths]"},
        {"tmp", "tmp = tmp"},
        {"configs", "configs = configs"},
        {"logs", "logs = logs"},
        {"ca_certificate", "ca_certificate = ca.pem"},
        {"", "[banks]"},
        {"a", "a = " + in("bank_a")},
        {"b", "b = " + in("bank_b")},
        {"size", "size = 1M"},
        {"boot_state", "boot_state = " + in("boot_state")},
        {"", "[images]"},
        {"signature", "signature = optional"},
    };
    std::string text;
    for (const auto &[name, usual] : lines) {
        text += (!name.empty() && name == key ? line : usual) + "\n";
    }
    return text;
}

void OnANode::open() {
    std::string whatIsWrong;
    ASSERT_TRUE(succeeds(nalOpen(configPath_.c_str()), whatIsWrong)) << whatIsWrong;
}

node::BootState OnANode::bootState() const {
    node::BootState state;
    std::string whatIsWrong;
    EXPECT_TRUE(took(node::readBootState(statePath_), state, whatIsWrong)) << whatIsWrong;
    return state;
}

std::string OnANode::errorsOf(const std::function<void()> &action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

void OnANode::installPassive(const std::string &version) {
    writeText(in("image"), imageOf(payloadOf(300000, 7), version));
    ASSERT_EQ(nal_writePassiveImage(in("image").c_str()), 0);
}

void OnANode::damagePassive() const {
    std::fstream bank(in("bank_b"), std::ios::in | std::ios::out | std::ios::binary);
    bank.seekp(1234);
    bank.put('\0').put('\1');
}

bool OnANode::boot(node::BootState &state) {
    node::Booted booted;
    const node::BootWay way{statePath_, {in("bank_a"), in("bank_b")}, commandLine_};
    passedOver_.clear();
    if (!took(node::bootNode(way), booted, bootComplaint_)) {
        return false;
    }
    state = booted.state;
    for (const std::string &line : booted.passedOver) {
        passedOver_ += (passedOver_.empty() ? "" : "\n") + line;
    }
    return true;
}
