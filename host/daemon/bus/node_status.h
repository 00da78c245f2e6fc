// SPDX-License-Identifier: MIT
// What the node tells about itself.
#ifndef HOST_DAEMON_BUS_NODE_STATUS_H
#define HOST_DAEMON_BUS_NODE_STATUS_H

#include <cstdint>
#include <string>
#include <vector>

namespace otad {

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
    std::uint64_t uptime = 0; // seconds since boot
    std::uint32_t queued = 0; // requests that wait for their turn
    std::uint64_t ticket = 0; // of the request that runs or stands; 0: none
    std::string model;
    std::string serial;
    std::string mac; // empty until the agent has started
    std::string workMode;
    std::string workRole;
    std::string preferredActivationTime;
    std::int32_t onboarding = 0;
    bool rootConnected = false; // to the broker of the root node
};

} // namespace otad

#endif
