// SPDX-License-Identifier: MIT
// The command line of the host.
#ifndef HOST_OPTIONS_H
#define HOST_OPTIONS_H

#include "host/agent_files.h"

#include <string>
#include <vector>

namespace host {

struct Options {
    std::string platform; // empty: the reference, beside this program
    std::string library;
    std::string config;
    int channel = -1;                  // an open socket
    bool commitCheck = true;           // it belongs to the first start after a boot
    bool check = false;                // only tell what the platform finds in the configuration
    std::vector<Activation> activated; // that the supervisor awaits the commit of
};

/* Ends the process where help was asked for, or the command line is wrong (one line, exit code 2).
 */
Options readOptions(int argc, char **argv);

} // namespace host

#endif
