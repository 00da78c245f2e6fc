// SPDX-License-Identifier: MIT
// A whole daemon in a temporary folder, with a scripted host and no bus unless one is given.
#ifndef TESTS_SERVICE_DAEMON_FIXTURE_H
#define TESTS_SERVICE_DAEMON_FIXTURE_H

#include "script.h"
#include "service/daemon.h"

#include "node/boot_state.h"

#include <chrono>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace service::test {

inline int codeOf(base::Outcome outcome) { return base::rowOf(outcome).code; }

inline constexpr const char *kOld = "4QZ-1.0.0";
inline constexpr const char *kNew = "4QZ-2.0.0";
inline constexpr const char *kOther = "4QZ-3.0.0";
inline constexpr int kLong = 1000; // seconds; no test waits for it

/* The daemon's answer to one call. */
struct Reply {
    int times = 0;
    std::optional<base::Outcome> refused;
    std::string text; // of the refusal
    std::uint64_t ticket = 0;
};
using ReplyRef = std::shared_ptr<Reply>;

class DaemonTest : public testing::Test {
  protected:
    DaemonTest();
    ~DaemonTest() override;

    std::string in(const std::string &name) const { return folder_ + "/" + name; }
    /* The node runs this version from the bank; the other bank holds the other version. */
    void runFrom(node::Bank bank, const std::string &version = kOld,
                 const std::string &otherVersion = kOld) const;

    /* A new daemon on what is in the folder. */
    void start(const std::string &bootId = "boot-1");
    /* Like start, and the host has done its start-up. */
    void startUp(const std::string &bootId = "boot-1");
    /* As when the process ends: the host dies, and nothing is told to the agent. */
    void stop() { daemon_.reset(); }
    /* Turns the loop until the condition holds; false after a minute. */
    bool turnUntil(const std::function<bool()> &condition) const;
    /* Turns the loop as long as something happens at once. */
    void turnWhileBusy() const;
    /* Turns the loop that long. */
    void turnFor(std::chrono::milliseconds time) const;

    /* What the bus would ask the daemon. */
    BusCalls &calls() { return daemon_->calls(); }
    ReplyRef offer(int policy = 0, const std::string &version = kNew);
    ReplyRef offerText(const std::string &descriptor);
    ReplyRef trigger();
    ReplyRef activateAt(const std::string &time);
    ReplyRef cancel(std::uint64_t ticket);
    ReplyRef change(const std::string &name, const std::string &value);
    /* The ticket; turns the loop until the request is taken over. */
    std::uint64_t ticketOf(const ReplyRef &reply) const;

    /* The address of this process's own bridge; empty: it has none, as at the start of a test. */
    static void setBridge(const std::string &mac);
    bool hasStarted();
    bool idle();
    bool finished(std::uint64_t ticket) { return !codesOf(ticket).empty(); }
    /* The codes with which the request ended; more than one is a mistake. */
    std::vector<int> codesOf(std::uint64_t ticket);
    /* What the history says of these events, in order: "<ticket> <code> <reason>". */
    std::vector<std::string> told(const std::string &event);
    /* The reason code of the newest of these events; empty: there is none. */
    std::string reasonCodeOf(const std::string &event);
    /* What follows, as the newest of these events says. */
    std::string nextOf(const std::string &event);
    std::string explained(const std::string &topic);
    /* What is on the disk now. */
    Ledger kept() const { return ledgerIn("state/requests.json"); }
    Ledger ledgerIn(const std::string &file) const;
    /* Put there while no daemon runs. */
    void keep(const Ledger &ledger) const;
    /* Nothing can be kept, and what is kept is out of sight, until it is mended. */
    void breakStateDirectory() const;
    void mendStateDirectory() const;

    std::string newest(const std::string &event, const char *key);

    EventLoop loop_ = newLoop();
    std::string folder_;
    Script host_;
    node::Config config_;
    Options options_;
    std::optional<Daemon> daemon_;

    static BusCalls::Answer answerInto(const ReplyRef &reply);
};

/* A descriptor that the guard lets through. */
std::string descriptorOf(int policy, const std::string &version);
Request offerRequest(std::uint64_t ticket, int policy = 0, const std::string &version = kNew);

} // namespace service::test

#endif
