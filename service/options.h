// SPDX-License-Identifier: MIT
// The command line of the daemon.
#ifndef SERVICE_OPTIONS_H
#define SERVICE_OPTIONS_H

#include <chrono>
#include <string>

namespace service {

struct Options {
    std::string config;
    std::string host;    // the program that holds the agent's library
    std::string library; // libotaSwAgent.so
    std::string bus;     // address; empty: the system bus
    std::string bootId;  // names this boot of the node; another one means that it was booted since
    bool check = false;  // only check the configuration
    bool syslog = false; // what would be told on standard error goes there
    /* So long the loop may hang until the process ends; 0: for ever. */
    std::chrono::seconds watchdog{0};
    /* At most so long the host's start waits for the bus; only tests want another time. */
    std::chrono::milliseconds busPatience{std::chrono::seconds(10)};
    /* From an activation to the reboot that it asked for; only tests want another time. */
    std::chrono::milliseconds rebootPatience{std::chrono::minutes(3)};
};

/*
 * Fills the options; where the command line asks for help or is wrong, the process ends with what
 * it prints: 0 after help, 2 after one line that says what is wrong.
 */
Options readOptions(int argc, char **argv);

} // namespace service

#endif
