// SPDX-License-Identifier: MIT
// The folder of a node and the message bus in it, wherever that lies.
#include "desk/control.h"
#include "desk/failure.h"
#include "desk/files.h"
#include "desk/folder_lock.h"
#include "desk/node_folder.h"
#include "desk/private_bus.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

namespace fs = std::filesystem;

class ServiceParts : public testing::Test {
  protected:
    ServiceParts() {
        std::string pattern = (fs::temp_directory_path() / "desk-parts.XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
    }
    ~ServiceParts() override { fs::remove_all(folder_); }

    // Lists the names on the bus, from its folder.
    void askTheBus(const fs::path &folder) {
        desk::runProgram({{"dbus-send", std::string("--bus=") + desk::kBusAddress, "--print-reply",
                           "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus.ListNames"},
                          folder,
                          folder_ / "ask.log"},
                         interrupt_);
    }

    fs::path folder_;
    desk::Interrupt interrupt_;
};

TEST_F(ServiceParts, TheBusComesUpInAFolderOfAnyLengthAndName) {
    const fs::path folder = folder_ / std::string(150, 'x') / R"(a 'b' "c" <d>; $e)";
    fs::create_directories(folder);
    {
        const desk::PrivateBus bus(folder, folder_ / "bus.log", interrupt_);
        EXPECT_NO_THROW(askTheBus(folder)) << desk::readFile(folder_ / "ask.log");
    }
    EXPECT_THROW(askTheBus(folder), desk::Failure) << "the bus outlives its owner";
}

TEST_F(ServiceParts, WhatAPersonPastesReachesTheBusFromAnywhere) {
    const fs::path program = folder_ / "the client's";
    desk::writeFile(program, "#!/bin/sh\nexec dbus-send \"--bus=$2\" --print-reply "
                             "--dest=org.freedesktop.DBus / org.freedesktop.DBus.ListNames\n");
    fs::permissions(program, fs::perms::owner_all);
    for (const fs::path &folder :
         {folder_ / R"(a 'b' "c" <d>; $e, %41)", folder_ / std::string(150, 'x')}) {
        fs::create_directories(folder);
        const desk::PrivateBus bus(folder, folder_ / "bus.log", interrupt_);
        std::string line;
        for (const std::string &word : desk::controlWords(program, folder)) {
            line += word + " ";
        }
        EXPECT_NO_THROW(
            desk::runProgram({{"sh", "-c", line}, "/", folder_ / "ask.log"}, interrupt_))
            << line << desk::readFile(folder_ / "ask.log");
    }
}

TEST_F(ServiceParts, ABusThatDoesNotComeUpNamesItsLog) {
    fs::create_directories(folder_ / "bus.conf/in/its/place");
    try {
        const desk::PrivateBus bus(folder_, folder_ / "bus.log", interrupt_);
        FAIL() << "came up";
    } catch (const desk::Failure &failure) {
        EXPECT_NE(std::string(failure.what()).find("bus.conf"), std::string::npos);
    }
}

TEST_F(ServiceParts, ANodeIsOffOnceNoProcessHoldsItsLock) {
    const desk::NodeFolder node(folder_);
    EXPECT_TRUE(node.isOff());
    {
        const desk::FolderLock host(folder_ / "boot_state.lock");
        ASSERT_TRUE(host.tryLock());
        EXPECT_FALSE(node.isOff());
    }
    EXPECT_TRUE(node.isOff());
}

class Configuration : public ServiceParts {
  protected:
    std::string configuration(const desk::NodePlan &plan) {
        desk::NodeFolder node(folder_ / "node");
        desk::writeFile(folder_ / "factory", "too small for an image");
        desk::writeFile(folder_ / "ca.pem", "a certificate");
        desk::writeFile(folder_ / "signers.pem", "another certificate");
        try {
            node.make(plan);
        } catch (const desk::Failure &) { // the image; the configuration is written before it
        }
        return desk::readFile(node.config());
    }

    desk::NodePlan plan() const {
        desk::NodePlan plan{.identity = desk::identityOf(3), .mode = "AP_Bridge", .role = "Agent"};
        plan.bankBytes = 4096;
        plan.factory = {folder_ / "factory", "4QZ1", 4};
        plan.signerAuthority = folder_ / "signers.pem";
        return plan;
    }
};

TEST_F(Configuration, ANodeWithoutAnAuthorityTakesPlainHttp) {
    const std::string text = configuration(plan());
    EXPECT_NE(text.find("allow_plain_http = yes"), std::string::npos);
    EXPECT_NE(text.find("serial = DESK00000003"), std::string::npos);
    EXPECT_EQ(text.find("[root]"), std::string::npos);
}

TEST_F(Configuration, ANodeTakesSignedImagesOnly) {
    const std::string text = configuration(plan());
    EXPECT_NE(text.find("[images]\nsignature = required\nsigner_ca = signer-ca.pem\n"),
              std::string::npos);
    EXPECT_EQ(desk::readFile(folder_ / "node/signer-ca.pem"), "another certificate");
}

TEST_F(Configuration, ANodeOfAMeshKnowsItsRoot) {
    desk::NodePlan mesh = plan();
    mesh.authority = folder_ / "ca.pem";
    mesh.broker = desk::RootBroker{
        "127.0.0.1:1", folder_ / "ca.pem", {folder_ / "own.pem", folder_ / "own.key"}};
    desk::writeFile(folder_ / "ca.pem", "a certificate");
    desk::writeFile(folder_ / "own.pem", "its own certificate");
    desk::writeFile(folder_ / "own.key", "its own key");
    const std::string text = configuration(mesh);
    EXPECT_EQ(text.find("allow_plain_http"), std::string::npos);
    EXPECT_NE(text.find("[root]\nbroker = 127.0.0.1:1\nca_certificate = root-ca.pem\n"
                        "certificate = root-node.pem\nkey = root-node.key\n"),
              std::string::npos);
    EXPECT_EQ(desk::readFile(folder_ / "node/root-node.pem"), "its own certificate");
    EXPECT_EQ(desk::readFile(folder_ / "node/root-node.key"), "its own key");
    EXPECT_EQ(fs::status(folder_ / "node/root-node.key").permissions(), fs::perms(0600));
    EXPECT_EQ(desk::readFile(folder_ / "node/root-ca.pem"), "a certificate");
}

} // namespace
