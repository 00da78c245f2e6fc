// SPDX-License-Identifier: MIT
// The one node of this process: its configuration and what its calls share.
#ifndef PLATFORM_NODE_H
#define PLATFORM_NODE_H

#include "base/lock_file.h"
#include "node/boot_state.h"
#include "node/config/config.h"

#include <string>

namespace platform {

class Node {
  public:
    /* Reads and checks the configuration, takes the node's lock. */
    base::Result<void> open(const std::string &configPath);

    /* As read by open; valid for the life of the process. Empty before. */
    const node::Config &config() const { return config_; }

    /*
     * The same with mode, role, onboarding and preferred time as the file has them now, or the
     * overlay beside the daemon's state where that has them.
     */
    const node::Config &freshConfig();

    base::Result<node::BootState> readBootState() const;
    base::Result<void> writeBootState(const node::BootState &state) const;
    /* Reads the boot state; a failure is logged under the caller's name. */
    bool bootState(node::BootState &state, const char *function, int line) const;

    /* True after a failed activation, while the passive bank may still be stored as chosen. */
    bool activationHalfWay = false;

  private:
    void followConfig();
    void followOverlay();
    void mendBootState() const;

    std::string configPath_;
    std::string configText_;
    std::string configReported_;
    std::string overlayReported_;
    node::Config base_;   // as the file has it
    node::Config config_; // with the overlay
    base::LockFile lock_; // held until the process ends
};

Node &node();

} // namespace platform

#endif
