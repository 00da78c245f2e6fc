// SPDX-License-Identifier: MIT
#include "host/options.h"

#include "base/command_line.h"

#include <sys/stat.h>

namespace host {
namespace {

bool isSocket(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

base::Value openSocket(int &channel) {
    base::Value value = base::number("FD", channel, 0);
    value.set = [set = value.set, &channel](std::string_view given) -> std::string {
        return set(given).empty() && isSocket(channel) ? "" : "the number of an open socket";
    };
    return value;
}

base::Value activation(std::vector<Activation> &activated) {
    return {"BANK:VERSION", [&activated](std::string_view given) -> std::string {
                Activation one;
                if (!readActivation(std::string(given), one)) {
                    return "a or b, a colon and a version";
                }
                activated.push_back(one);
                return "";
            }};
}

} // namespace

Options readOptions(int argc, char **argv) {
    using base::Times;
    Options options;
    bool noCommitCheck = false;
    const base::Command program = {
        .name = "ota-host",
        .summary = "Holds the agent's library and hands it events; otad starts it.",
        .options = {
            {"--library", base::text("PATH", options.library), "the agent's library", Times::once},
            {"--platform", base::text("FILE", options.platform),
             "the node's platform (default: the reference, beside this program)"},
            {"--config", base::text("FILE", options.config), "the node's configuration",
             Times::once},
            {"--channel", openSocket(options.channel), "the socket to the supervisor", Times::once},
            {"--check", base::flag(options.check),
             "only tell the supervisor what the platform finds in the configuration"},
            {"--no-commit-check", base::flag(noCommitCheck), "not the first start after a boot"},
            {"--activated", activation(options.activated),
             "an activation whose commit is awaited: the bank before it, and the version",
             Times::any}}};
    base::parseOrExit(program, argc, argv);
    options.commitCheck = !noCommitCheck;
    return options;
}

} // namespace host
