// SPDX-License-Identifier: MIT
// The node that a test runs on: what the platform answers, and what it was told.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace ota::test {

// What was raised on the bus.
struct Signal {
    std::string sender;
    std::string name;
    std::string data; // without its NUL; empty where the agent passed a null pointer
    bool dataIsNull;
    int dataLen;
};

// What was sent to the root: the length as handed over, and the bytes behind it.
struct Notification {
    std::uint32_t dataLen;
    std::string config; // dataLen bytes, the NUL included
};

struct Node {
    // Directories, relative to the test's own folder, so that the table's cuts do not bite.
    std::string tmpDirectory = ".";
    std::string configsDirectory = "cfg";
    std::string logsDirectory = "log";
    std::string certificatePath = "cfg/ca.pem";

    // Answers. A failing call leaves its argument as it was, unless it is said to fill it all the
    // same. A version of 64 characters or more fills its 64 bytes without a terminator.
    bool failingQueriesFill = false;
    std::string workMode = "RGW";
    std::string workRole = "Agent";
    int onboardingStatus = 0;
    std::string currentVersion = "1.0";
    std::string previousVersion = "0.9";
    std::string model = "Gate-1";
    std::string serialNumber = "SN0001";
    std::string activationTime = "03:30";
    std::array<std::uint8_t, 6> mac{0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e}; // of "br0"
    long uptime = 4711;

    // Results by call name, used up one call after the other; where none is left the call
    // succeeds: 0, but 1 for nal_activatePassiveImage. Besides the platform's calls: "socket",
    // "ioctl", "sysinfo", "setsockopt", "flock", "system".
    std::map<std::string, std::deque<int>> results;
    // Results that stay, for calls without a queued one.
    std::map<std::string, int> always;

    std::vector<Signal> signals;
    std::vector<Notification> notifications;

    // The next result of a call.
    int resultOf(const std::string &call);
};

Node &node();

} // namespace ota::test
