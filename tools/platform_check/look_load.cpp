// SPDX-License-Identifier: MIT
// The library itself.
#include "base/trusted_path.h"
#include "tools/platform_check/ground.h"

namespace check {
namespace {

void opens(Ground &ground) {
    ground.player().play([](Platform &) {}, Opening::library);
}

void hasEveryCall(Ground &ground) {
    ground.player().play(
        [](Platform &platform) {
            std::string names;
            for (const std::string &name : missingCalls(platform)) {
                names.append(names.empty() ? "" : ", ").append(name);
            }
            if (!names.empty()) {
                throw Wrong{"it has no " + names};
            }
        },
        Opening::library);
}

void isTrusted(Ground &ground) {
    const std::string flaw = base::whyNotTrusted(ground.options().platform);
    if (!flaw.empty()) {
        throw Wrong{flaw};
    }
}

constexpr Check kLoadChecks[] = {
    {"load.opens", kEarly, opens, "the library, opened as the host opens it: at once, and whole",
     "it opens, and needs nothing that is not there",
     "ota-host ends with platform-unusable: the node takes no upgrade"},
    {"load.has-every-call", kEarly, hasEveryCall, "the sixteen functions of platform/nal.h by name",
     "a platform has every one of them but nal_setSwmgntFileServerInfo, with C linkage",
     "ota-host ends with platform-unusable and names what is missing", "load.opens"},
    {"load.is-trusted", kEarly, isTrusted, "who may change the file, and the folders above it",
     "root or the service's user alone",
     "the service refuses to start: who can change the file becomes root at its next start"},
};

} // namespace

std::span<const Check> loadChecks() { return kLoadChecks; }

} // namespace check
