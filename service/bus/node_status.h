// SPDX-License-Identifier: MIT
// What the node tells about itself.
#ifndef SERVICE_BUS_NODE_STATUS_H
#define SERVICE_BUS_NODE_STATUS_H

#include "base/end.h"
#include "base/record.h"

#include <cstdint>
#include <string>
#include <vector>

namespace service {

struct TimerLeft {
    std::string name;
    std::uint32_t seconds = 0; // until it runs out
    bool operator==(const TimerLeft &) const = default;
};
constexpr auto fieldsOf(const TimerLeft * /*of*/) {
    return std::tuple{base::Field{"name", &TimerLeft::name},
                      base::Field{"seconds", &TimerLeft::seconds}};
}

struct BankView {
    std::string name;
    std::string version;
    bool whole = false;   // its image is complete and undamaged
    bool running = false; // the node runs from it
    bool next = false;    // the next boot takes it
    bool operator==(const BankView &) const = default;
};
constexpr auto fieldsOf(const BankView * /*of*/) {
    return std::tuple{
        base::Field{"bank", &BankView::name}, base::Field{"version", &BankView::version},
        base::Field{"whole", &BankView::whole}, base::Field{"running", &BankView::running},
        base::Field{"next", &BankView::next}};
}

/* The rest of what is known of a bank. */
struct BankTrial {
    std::string bank;
    bool trial = false;             // it must still prove itself
    std::uint32_t attempts = 0;     // of a bank on trial: boots that it has left
    std::uint32_t failedTrials = 0; // of the version that it holds
    std::string lastFailure;        // of these: "boot" or "health"; empty: none
    bool operator==(const BankTrial &) const = default;
};
constexpr auto fieldsOf(const BankTrial * /*of*/) {
    return std::tuple{base::Field{"bank", &BankTrial::bank},
                      base::Field{"trial", &BankTrial::trial},
                      base::Field{"attempts", &BankTrial::attempts},
                      base::Field{"failed_trials", &BankTrial::failedTrials},
                      base::Field{"last_failure", &BankTrial::lastFailure}};
}

/* A version that is remembered because it failed. */
struct FailedTrial {
    std::string version;
    std::uint32_t trials = 0; // that it failed
    std::string reason;       // of the newest: "boot" or "health"
    bool refused = false;     // offers of it are
    bool operator==(const FailedTrial &) const = default;
};
constexpr auto fieldsOf(const FailedTrial * /*of*/) {
    return std::tuple{
        base::Field{"version", &FailedTrial::version}, base::Field{"trials", &FailedTrial::trials},
        base::Field{"reason", &FailedTrial::reason}, base::Field{"refused", &FailedTrial::refused}};
}

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
    std::string daemonVersion;  // of the service itself
    bool trialSupported = true; // false: the platform told that it puts no bank on trial
};

/* When a change of it is told: never of what is always another. */
enum class Told { changes, never, constant };

/* A property of the bus object; in JSON its name is in snake_case. */
template <typename Value>
struct Property {
    constexpr Property(const char *name, Value NodeStatus::*where, Told when = Told::changes)
        : key(name), member(where), told(when) {}

    const char *key;
    Value NodeStatus::*member;
    Told told;
};

/* All of them, in the order in which the bus lists them. */
constexpr auto fieldsOf(const NodeStatus * /*of*/) {
    return std::tuple{Property{"StatusWord", &NodeStatus::statusWord},
                      Property{"StatusRecord", &NodeStatus::statusRecord},
                      Property{"Stage", &NodeStatus::stage},
                      Property{"Percentage", &NodeStatus::percentage},
                      Property{"DownloadedBytes", &NodeStatus::downloadedBytes},
                      Property{"Timers", &NodeStatus::timers},
                      Property{"Deferred", &NodeStatus::deferred},
                      Property{"Banks", &NodeStatus::banks},
                      Property{"BankTrials", &NodeStatus::bankTrials},
                      Property{"FailedVersions", &NodeStatus::failedVersions},
                      Property{"Uptime", &NodeStatus::uptime, Told::never},
                      Property{"Queued", &NodeStatus::queued},
                      Property{"Ticket", &NodeStatus::ticket},
                      Property{"OfferedVersion", &NodeStatus::version},
                      Property{"Model", &NodeStatus::model},
                      Property{"Serial", &NodeStatus::serial},
                      Property{"Mac", &NodeStatus::mac},
                      Property{"WorkMode", &NodeStatus::workMode},
                      Property{"WorkRole", &NodeStatus::workRole},
                      Property{"Onboarding", &NodeStatus::onboarding},
                      Property{"PreferredActivationTime", &NodeStatus::preferredActivationTime},
                      Property{"WaitReasonCode", &NodeStatus::waitReasonCode},
                      Property{"WaitReason", &NodeStatus::waitReason},
                      Property{"LastEnd", &NodeStatus::lastEnd},
                      Property{"RunningVersion", &NodeStatus::runningVersion},
                      Property{"NextVersion", &NodeStatus::nextVersion},
                      Property{"ActivationTime", &NodeStatus::activationTime},
                      Property{"RootConnected", &NodeStatus::rootConnected},
                      Property{"DaemonVersion", &NodeStatus::daemonVersion, Told::constant},
                      Property{"TrialSupported", &NodeStatus::trialSupported}};
}

} // namespace service

#endif
