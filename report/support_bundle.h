// SPDX-License-Identifier: MIT
// What a maker needs to see why a node did what it did, in one archive and without secrets.
#ifndef REPORT_SUPPORT_BUNDLE_H
#define REPORT_SUPPORT_BUNDLE_H

#include "base/result.h"

#include <string>
#include <vector>

namespace report {

/* One file of the archive, or why there is none. */
struct Part {
    std::string name;
    base::Result<std::string> text;
    bool cut = false; // only its end is there
};

struct BundlePlan {
    std::string bus;    // its address; empty: the system bus
    std::string config; // the node's configuration file
};

/*
 * Asks the service, reads the node's files and runs a dozen programs of the system, which takes
 * seconds and, where they hang, a minute or two. Works where the service does not. Of no part is
 * there more than 4 MiB, and withoutSecrets() went over each; the last part is index.json, with
 * every name, its size and what is missing.
 */
std::vector<Part> collectParts(const BundlePlan &plan);

/*
 * Writes those that are there into a gzipped tar archive, in one folder of the archive's name,
 * which nobody but this user may read. Needs tar and room for the parts in the folder for temporary
 * files. After a failure nothing is left; an archive that was there before stands.
 */
base::Result<void> writeBundle(const std::vector<Part> &parts, const std::string &folder,
                               const std::string &path);

} // namespace report

#endif
