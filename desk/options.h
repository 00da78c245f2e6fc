// SPDX-License-Identifier: MIT
// What the command line of `ota-desk demo` says.
#ifndef DESK_OPTIONS_H
#define DESK_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace desk {

// As the agent classifies modes and roles: a bridge that is the controller counts as the gateway.
inline bool countsAsGateway(const std::string &mode, const std::string &role) {
    return mode == "RGW" || role == "Controller";
}

struct Options {
    int policy = 1;
    std::string mode = "RGW";
    std::string role; // empty: the one that goes with the mode
    bool plainHttp = false;
    bool offload = false;
    bool firstPoll = false;
    bool powerCut = false;
    std::uint64_t cutPowerAt = 0; // changes of its storage; 0: never
    bool mesh = false;
    std::string fail; // empty: nothing is to fail
    bool fast = false;
    bool help = false;
    std::chrono::seconds limit{120};   // of the whole run
    std::filesystem::path buildFolder; // empty: where this program was built
    std::filesystem::path runFolder;   // empty: one of its own for each road
    std::filesystem::path library;     // empty: the one of the build folder
    std::filesystem::path nodeConfig;  // empty: one is written

    [[nodiscard]] bool gateway() const { return countsAsGateway(mode, role); }
};

// A mistake on the command line: what, the values allowed, and where help is.
class OptionError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

Options readOptions(const std::vector<std::string> &arguments);

// `combinations`: what does not go together, a line each.
std::string helpText(const std::string &combinations);

} // namespace desk

#endif
