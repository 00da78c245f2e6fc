// SPDX-License-Identifier: MIT
// Where a node keeps which bank boots, as its configuration says it.
#ifndef NODE_CONFIG_BOOT_PLACE_H
#define NODE_CONFIG_BOOT_PLACE_H

#include <string>
#include <utility>

namespace node {

/* Where the environment is: a file of both copies, or the devices that fw_env.config names. */
struct BootPlace {
    BootPlace() = default;
    BootPlace(std::string path) : file(std::move(path)) {} // NOLINT: a file is the usual place
    BootPlace(const char *path) : file(path) {}            // NOLINT

    std::string file;              // empty: fwEnvConfig says where
    std::string fwEnvConfig;       // a file in the format of fw_env.config
    std::string kernelCommandLine; // a file whose word ota.bank=a or b names the running bank

    /* How messages name it. */
    const std::string &name() const { return file.empty() ? fwEnvConfig : file; }
};

} // namespace node

#endif
