// SPDX-License-Identifier: MIT
// The command line of the host.
#include "host/options.h"

#include <charconv>
#include <string_view>

namespace host {
namespace {

bool takeDescriptor(std::string_view text, int &descriptor) {
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), descriptor);
    return parsed.ec == std::errc() && parsed.ptr == text.data() + text.size() && descriptor >= 0;
}

std::string wrong(const std::string &what) { return what + "; use: " + kUse; }

} // namespace

bool readOptions(int argc, char **argv, Options &options, std::string &whatIsWrong) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--help") {
            options.help = true;
            return true;
        }
        if (name == "--no-commit-check") {
            options.commitCheck = false;
            continue;
        }
        if (name != "--library" && name != "--config" && name != "--channel" &&
            name != "--activated") {
            whatIsWrong = wrong("the option " + std::string(name) + " is not known");
            return false;
        }
        if (i + 1 == argc) {
            whatIsWrong = wrong("the option " + std::string(name) + " has no value");
            return false;
        }
        const char *const value = argv[++i];
        if (name == "--library") {
            options.library = value;
        } else if (name == "--config") {
            options.config = value;
        } else if (name == "--activated") {
            Activation activation;
            if (!readActivation(value, activation)) {
                whatIsWrong = wrong("--activated is " + std::string(value) +
                                    ": expected a or b, a colon and a version");
                return false;
            }
            options.activated.push_back(activation);
        } else if (!takeDescriptor(value, options.channel)) {
            whatIsWrong = wrong("--channel is " + std::string(value) +
                                ": expected the number of an open socket");
            return false;
        }
    }
    if (options.library.empty() || options.config.empty() || options.channel < 0) {
        whatIsWrong = wrong("--library, --config and --channel are all needed");
        return false;
    }
    return true;
}

} // namespace host
