// SPDX-License-Identifier: MIT
// ota-boot-state: makes the first boot state of a node, boots by one as a boot loader does, shows
// one.
#include "node/boot_state.h"
#include "base/command_line.h"
#include "base/trusted_path.h"
#include "node/boot.h"
#include "node/boot_copies.h"
#include "node/image_stream.h"
#include "tools/verbs.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kPassedOver = 3;
constexpr int kNotTrusted = 9; // others than root and this user could change what was named

struct Making {
    node::Bank active = node::Bank::a;
    std::string image;
    std::string output;
};

struct Booting {
    std::string a, b, state, commandLine;
};

bool failBootState(const std::string &what) { return tools::reportFailure("ota-boot-state", what); }

// A boot state in a file, or where a file in fw_env.config's format says.
node::BootPlace placeOf(const std::string &argument) {
    constexpr std::string_view kDevices = "fw_env.config:";
    node::BootPlace place;
    if (argument.starts_with(kDevices)) {
        place.fwEnvConfig = argument.substr(kDevices.size());
    } else {
        place.file = argument;
    }
    return place;
}

bool isTrusted(const std::string &path) {
    const std::string flaw = path.empty() ? "" : base::whyNotTrusted(path);
    return flaw.empty() || failBootState(flaw);
}

bool isTrustedFile(const std::string &path) {
    const std::string flaw = path.empty() ? "" : base::whyNoTrustedFile(path);
    return flaw.empty() || failBootState(flaw);
}

// A boot state or a bank that others may change would decide what boots: it is not used.
bool areTrusted(const node::BootPlace &place, const std::vector<std::string> &others = {}) {
    if (!isTrustedFile(place.file) || !isTrusted(place.fwEnvConfig) ||
        !std::all_of(others.begin(), others.end(), isTrusted)) {
        return false;
    }
    std::vector<node::BootCopy> copies;
    static_cast<void>(node::bootCopies(place, copies)); // whoever reads them says what is wrong
    return std::all_of(copies.begin(), copies.end(),
                       [](const node::BootCopy &copy) { return isTrusted(copy.path); });
}

int makeBootState(const Making &making) {
    node::BootState state;
    state.active = making.active;
    state.next = state.active;
    if (!areTrusted(placeOf(making.output))) {
        return kNotTrusted;
    }
    const auto record = node::recordOfImage(making.image);
    if (!record) {
        failBootState(record.error().text);
        return 1;
    }
    state.of(state.active) = *record;
    if (const auto made = node::makeBootState(placeOf(making.output), state); !made) {
        failBootState(made.error().text);
        return 1;
    }
    return 0;
}

// The exit code says whether the chosen bank booted at once, with nothing to say.
int bootByState(const Booting &booting) {
    const node::BootWay way{placeOf(booting.state), {booting.a, booting.b}, booting.commandLine};
    if (!areTrusted(way.state, {way.bankPaths[0], way.bankPaths[1], way.commandLine})) {
        return kNotTrusted;
    }
    const auto booted = node::bootNode(way);
    if (!booted) {
        failBootState(booted.error().text);
        return 1;
    }
    std::printf("active=%s\n", node::bankName(booted->state.active));
    for (const std::string &line : booted->passedOver) {
        failBootState(line);
    }
    return booted->passedOver.empty() ? 0 : kPassedOver;
}

int showBootState(const std::string &path) {
    if (!areTrusted(placeOf(path))) {
        return kNotTrusted;
    }
    node::BootFindings findings;
    const auto read = node::readBootState(placeOf(path), &findings);
    if (!read) {
        failBootState(read.error().text);
        return 1;
    }
    const node::BootState &state = *read;
    std::printf("active=%s\nnext=%s\ntrial=%s\n", node::bankName(state.active),
                node::bankName(state.next), state.trial ? node::bankName(*state.trial) : "none");
    for (const node::Bank bank : {node::Bank::a, node::Bank::b}) {
        const node::BankRecord &record = state.of(bank);
        std::printf("%s: whole=%d attempts=%d version=%s size=%" PRIu64 " sha256=%s\n",
                    node::bankName(bank), record.whole ? 1 : 0, state.attemptsOf(bank),
                    record.version.c_str(), record.size, record.sha256.c_str());
    }
    for (const node::FailedVersion &failed : state.failed) {
        std::printf("failed: %s trials=%d last=%s\n", failed.version.c_str(), failed.trials,
                    node::trialFailureName(failed.last));
    }
    for (const std::string &damage : findings.damages) {
        failBootState(damage);
    }
    return 0;
}

base::Command initVerb(Making &making) {
    using base::text, base::Times;
    return {
        .name = "init",
        .summary = "Make the first boot state of a node",
        .options = {{"--active",
                     base::oneOf({{"a", node::Bank::a}, {"b", node::Bank::b}}, making.active),
                     "The bank that boots", Times::once},
                    {"--image", text("IMAGE", making.image), "What that bank holds", Times::once},
                    {"--output", text("STATE", making.output), "The boot state", Times::once}},
        .run = [&making] { return makeBootState(making); }};
}

base::Command bootVerb(Booting &booting) {
    using base::text, base::Times;
    return {.name = "boot",
            .summary = "Choose the bank as a boot loader does",
            .options = {{"--a", text("BANK", booting.a), "Bank a", Times::once},
                        {"--b", text("BANK", booting.b), "Bank b", Times::once},
                        {"--state", text("STATE", booting.state), "The boot state", Times::once},
                        {"--command-line", text("FILE", booting.commandLine),
                         "Write what the kernel is told here"}},
            .run = [&booting] { return bootByState(booting); }};
}

} // namespace

int main(int argc, char **argv) {
    Making making;
    Booting booting;
    std::string state;
    return base::runCommand(
        {.name = "ota-boot-state",
         .summary = "Makes the first boot state of a node, boots by one, shows one. STATE is its "
                    "file, or fw_env.config:FILE for the devices that FILE names.",
         .verbs = {initVerb(making),
                   bootVerb(booting),
                   {.name = "show",
                    .summary = "Show a boot state",
                    .arguments = {{"state", base::text("STATE", state), "The boot state",
                                   base::Times::once}},
                    .run = [&state] { return showBootState(state); }}}},
        argc, argv);
}
