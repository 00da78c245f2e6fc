// SPDX-License-Identifier: MIT
// What the node tells about itself.
#ifndef SERVICE_BUS_NODE_STATUS_H
#define SERVICE_BUS_NODE_STATUS_H

#include "base/end.h"

#include <cstdint>
#include <string>
#include <vector>

namespace service {

struct TimerLeft {
    std::string name;
    std::uint32_t seconds = 0; // until it runs out
    bool operator==(const TimerLeft &) const = default;
};

struct BankView {
    std::string name;
    std::string version;
    bool whole = false;   // its image is complete and undamaged
    bool running = false; // the node runs from it
    bool next = false;    // the next boot takes it
    bool operator==(const BankView &) const = default;
};

/* The rest of what is known of a bank. */
struct BankTrial {
    std::string bank;
    bool trial = false;             // it must still prove itself
    std::uint32_t attempts = 0;     // of a bank on trial: boots that it has left
    std::uint32_t failedTrials = 0; // of the version that it holds
    std::string lastFailure;        // of these: "boot" or "health"; empty: none
    bool operator==(const BankTrial &) const = default;
};

/* A version that is remembered because it failed. */
struct FailedTrial {
    std::string version;
    std::uint32_t trials = 0; // that it failed
    std::string reason;       // of the newest: "boot" or "health"
    bool refused = false;     // offers of it are
    bool operator==(const FailedTrial &) const = default;
};

/* The stage of a node whose reboot behind an activation does not come. */
constexpr const char *kRebootOverdue = "reboot-overdue";

struct NodeStatus {
    std::string statusWord;   // of the agent's last report; empty: none yet
    std::string statusRecord; // that report, JSON text
    std::string stage = "idle";
    std::string version;          // the one that is offered; empty: none
    std::uint32_t percentage = 0; // of the download
    std::uint64_t downloadedBytes = 0;
    std::vector<TimerLeft> timers;
    bool deferred = false;
    std::vector<BankView> banks;
    std::vector<BankTrial> bankTrials;       // one for each bank, in the same order
    std::vector<FailedTrial> failedVersions; // the newest last
    std::uint64_t uptime = 0;                // seconds since boot
    std::uint32_t queued = 0;                // requests that wait for their turn
    std::uint64_t ticket = 0;                // of the request that runs or waits; 0: none
    std::string model;
    std::string serial;
    std::string mac; // empty until the agent has started
    std::string workMode;
    std::string workRole;
    std::string preferredActivationTime;
    std::int32_t onboarding = 0;
    std::string waitReasonCode; // why the request waits, of the table of reasons; empty: see Stage
    std::string waitReason;     // the sentence
    base::End lastEnd;          // of a request; ticket 0: none is known
    std::string runningVersion; // of the bank that the node runs from; empty: unknown
    std::string nextVersion;    // of the bank that the next boot takes; likewise
    std::string activationTime; // that was named and is in force; empty: none was
    bool rootConnected = false; // to the broker of the root node
};

} // namespace service

#endif
