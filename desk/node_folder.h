// SPDX-License-Identifier: MIT
// The folder that a node on the desk lives in: configuration, banks, boot state, logs.
#ifndef DESK_NODE_FOLDER_H
#define DESK_NODE_FOLDER_H

#include "desk/certificates.h"
#include "desk/image.h"

#include "node/boot_state.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desk {

inline constexpr const char *kPreferredTime = "03:00";

// Who a node is, beside its model.
struct NodeIdentity {
    std::string mac;
    std::string serial;
};
// The first one is 1.
NodeIdentity identityOf(int number);

// The message broker of the root, as a node's configuration has it.
struct RootBroker {
    std::string address;             // host:port
    std::filesystem::path authority; // the CA certificate that its own is signed by
    Holder node;                     // who this node is to it
};

struct NodePlan {
    NodeIdentity identity;
    std::string mode;
    std::string role;
    std::uint64_t bankBytes = 0;
    Image factory{};                // runs from bank A
    std::optional<Image> passive{}; // in bank B, where it holds one
    // The CA certificate that it trusts for images; empty: none, it takes plain http.
    std::filesystem::path authority{};
    std::filesystem::path signerAuthority{}; // whose signers it trusts
    bool unhealthy = false;                  // its health command fails on every new version
    std::optional<RootBroker> broker{};
    std::filesystem::path config{}; // a node configuration to use as it is; empty: written here
};

// How a boot went.
struct NodeBoot {
    node::BootState state;               // its active bank is the one that booted
    std::vector<std::string> passedOver; // a line for each attempt and bank that did not come up
};

class NodeFolder {
  public:
    explicit NodeFolder(std::filesystem::path path) : path_(std::move(path)) {}

    // Makes everything in the folder, which must not be there yet.
    void make(const NodePlan &plan) const;

    // What a boot loader does: the bank chosen to boot next becomes the running one, if its bytes
    // are good. What lies in the temporary directory is lost, as where that is memory.
    [[nodiscard]] NodeBoot boot() const;

    [[nodiscard]] node::BootState bootState() const;
    // Changes bytes in the middle of what the passive bank holds; nothing else notices.
    void damagePassiveBank() const;
    // Bytes of the image that is being downloaded so far; 0 where there is none.
    [[nodiscard]] std::uintmax_t downloadedBytes() const;

    [[nodiscard]] const std::filesystem::path &path() const { return path_; }
    [[nodiscard]] std::filesystem::path config() const { return path_ / "node.conf"; }
    [[nodiscard]] std::filesystem::path bank(node::Bank bank) const;
    [[nodiscard]] std::filesystem::path agentData() const { return path_ / "ota_agent_data"; }
    [[nodiscard]] std::filesystem::path mark() const { return path_ / "logs/ota_act_success"; }
    // Is there once the agent asked for a reboot.
    [[nodiscard]] std::filesystem::path rebootAsked() const { return path_ / kRebootAsked; }
    // True where no process runs the node.
    [[nodiscard]] bool isOff() const;
    static constexpr const char *kRebootAsked = "reboot-asked";

  private:
    void makeConfig(const NodePlan &plan) const;
    void makeBanks(const NodePlan &plan) const;
    void makeConfigurationManagerSocket() const;
    [[nodiscard]] std::string bootStatePath() const { return path_ / "boot_state"; }

    std::filesystem::path path_;
};

} // namespace desk

#endif
