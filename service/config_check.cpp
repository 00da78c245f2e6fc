// SPDX-License-Identifier: MIT
#include "service/config_check.h"

#include "base/channel.h"
#include "base/trusted_path.h"
#include "node/config/config_reading.h"

#include <sys/wait.h>

namespace service {
namespace {

using base::ConfigFindings;

ConfigFindings notTold(const std::string &why) {
    return {{}, {"what the platform finds in the configuration is not known: " + why}, {}};
}

ConfigFindings askPlatform(const HostProgram &program, std::chrono::milliseconds patience) {
    const auto spawned = spawnHost(program, {"--check"});
    if (!spawned) {
        return notTold(spawned.error().text);
    }
    base::Channel channel(spawned->channel);
    const auto told = channel.receive(static_cast<int>(patience.count()));
    killHost(spawned->pid);
    int status = 0;
    waitpid(spawned->pid, &status, 0);
    if (told && *told) {
        return base::findingsIn(told->get());
    }
    return notTold(!told ? told.error().text
                   : channel.ended()
                       ? "its process ended before it said so"
                       : "it has not said so for " + std::to_string(patience.count() / 1000) +
                             " s; look at what its keys name");
}

// One that is not to be trusted is not loaded to say so.
bool mayBeAsked(const node::ConfigReading &reading) {
    const std::string &platform = reading.config().platform;
    return reading.hasReferencePlatform() ||
           (!platform.empty() && base::whyNotTrusted(platform).empty());
}

void append(std::vector<std::string> &lines, const std::vector<std::string> &more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

} // namespace

CheckedConfig checkConfig(HostProgram program, std::chrono::milliseconds patience) {
    auto reading = node::readConfig(program.config);
    if (!reading) {
        return {{}, {{reading.error().text}, {}, {}}};
    }
    reading->lookAtPlaces();
    CheckedConfig checked{reading->config(), {reading->mistakes(), {}, reading->warnings()}};
    if (mayBeAsked(*reading)) {
        program.platform = reading->config().platform;
        const ConfigFindings told = askPlatform(program, patience);
        append(checked.findings.mistakes, told.mistakes);
        append(checked.findings.obstacles, told.obstacles);
        append(checked.findings.warnings, told.warnings);
    }
    return checked;
}

} // namespace service
