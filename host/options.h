// SPDX-License-Identifier: MIT
// The command line of the host.
#ifndef HOST_OPTIONS_H
#define HOST_OPTIONS_H

#include "host/mark.h"

#include <string>
#include <vector>

namespace host {

constexpr const char *kUse =
    "ota-host --library PATH --config FILE --channel FD [--no-commit-check] "
    "[--activated BANK:VERSION]...";

struct Options {
    std::string library;
    std::string config;
    int channel = -1;
    bool commitCheck = true;           // it belongs to the first start after a boot
    std::vector<Activation> activated; // that the supervisor awaits the commit of
    bool help = false;
};

/* False: whatIsWrong is one line that names the option and how to call. */
bool readOptions(int argc, char **argv, Options &options, std::string &whatIsWrong);

} // namespace host

#endif
