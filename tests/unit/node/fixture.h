// SPDX-License-Identifier: MIT
// A node in a temporary directory: configuration, two banks, boot state, images.
#ifndef TESTS_NODE_FIXTURE_H
#define TESTS_NODE_FIXTURE_H

#include "node/boot_state.h"

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>

constexpr const char *kModel = "GW-1000";
constexpr std::uint64_t kBankSize = 1024 * 1024;

void writeText(const std::string &path, const std::string &text);
std::string readText(const std::string &path);
/* Bytes that differ from place to place, by seed. */
std::string payloadOf(std::size_t size, unsigned seed = 1);
/* An image file's bytes. */
std::string imageOf(const std::string &payload, const std::string &version,
                    const std::string &model = kModel);

/* A temporary directory, removed with what it holds. */
class InTemporaryDirectory : public testing::Test {
  protected:
    InTemporaryDirectory();
    ~InTemporaryDirectory() override;
    std::string in(const std::string &name) const { return directory_ + "/" + name; }

  private:
    std::string directory_;
};

/* Bank a runs "1.0.0"; bank b is empty, all bytes 0xEE. The node runs in its directory. */
class OnANode : public InTemporaryDirectory {
  protected:
    OnANode();
    ~OnANode() override;

    /* The configuration with one "key = value" line replaced. */
    std::string configWith(const std::string &key, const std::string &line) const;
    void open();
    node::BootState bootState() const;
    /* Runs the action; what it wrote to standard error. */
    static std::string errorsOf(const std::function<void()> &action);
    /* Writes an image of this version to bank b, as the agent would. */
    void installPassive(const std::string &version);
    /* Bytes of bank b change behind the node's back. */
    void damagePassive() const;
    /* Both banks and the boot state as at the beginning. */
    void resetNode() const;
    /* What a boot loader does with this node. */
    bool boot(node::BootState &state);

    std::string configPath_;
    std::string statePath_;
    std::string commandLine_; // where the boot loader tells the kernel; empty: nowhere
    std::string passedOver_;  // by the last boot, a line each
    std::string bootComplaint_;

  private:
    std::string cameFrom_;
};

#endif
