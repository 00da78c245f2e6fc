// SPDX-License-Identifier: MIT
// The boot loader's environment: two copies with a checksum each, of which one is always whole.
#ifndef NODE_BOOT_ENVIRONMENT_H
#define NODE_BOOT_ENVIRONMENT_H

#include "base/result.h"
#include "node/config/boot_place.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace node {

/* Bytes of one copy in a file: checksum (4), counter (1) and "name=value" texts. */
inline constexpr std::size_t kEnvironmentCopy = 8192;

/* What to do where the state is there and cannot be used; it would overwrite a good one. */
inline constexpr const char *kWriteItAnew =
    "; the node cannot tell its banks apart: write the boot state anew (ota-boot-state init)";

using BootVariables = std::map<std::string, std::string>;

/* What reading came across besides the variables. */
struct BootFindings {
    std::vector<std::string> damages; // a line each; the other copy made good for them
    bool copiesDiffer = false; // also after each change by the boot loader, which writes one copy

    bool older = false; // of an earlier release, which had no copies; writing takes it over

    bool none() const { return damages.empty() && !copiesDiffer && !older; }
};

/* Reads the newer of the whole copies. findings may be null. */
base::Result<BootVariables> readBootEnvironment(const BootPlace &place, BootFindings *findings);

/*
 * Sets these variables, removes those with an empty value, keeps all others, and stores both copies
 * one after the other: at any moment one of them is whole, and in the end they say the same. A file
 * that is not there is made. Returns when everything is on the disk and was read back. Error: the
 * old or the new variables hold.
 */
base::Result<void> changeBootEnvironment(const BootPlace &place, const BootVariables &changes);

/* The same where no copy may be whole yet, as on devices that the boot loader never wrote. */
base::Result<void> makeBootEnvironment(const BootPlace &place, const BootVariables &variables);

} // namespace node

#endif
