// SPDX-License-Identifier: MIT
// ota-boot-state: makes the first boot state of a node, boots by one as a boot loader does, shows
// one.
#include "platform/nal/boot.h"
#include "platform/nal/boot_copies.h"
#include "platform/nal/boot_state.h"
#include "platform/nal/image_stream.h"
#include "platform/nal/tools/command_line.h"
#include "platform/nal/trusted_path.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int kPassedOver = 3;

const tools::Program kProgram = {
    "ota-boot-state",
    "ota-boot-state init --active a|b --image IMAGE-IN-THAT-BANK --output FILE, "
    "or ota-boot-state boot --a BANK --b BANK --state FILE [--command-line FILE], "
    "or ota-boot-state show FILE; FILE of a boot state: the file, or fw_env.config:FILE for the "
    "devices that FILE names"};

// A boot state in a file, or where a file in fw_env.config's format says.
nal::BootPlace placeOf(const std::string &argument) {
    constexpr std::string_view kDevices = "fw_env.config:";
    nal::BootPlace place;
    if (argument.starts_with(kDevices)) {
        place.fwEnvConfig = argument.substr(kDevices.size());
    } else {
        place.file = argument;
    }
    return place;
}

bool isTrusted(const std::string &path) {
    const std::string flaw = path.empty() ? "" : nal::whyNotTrusted(path);
    return flaw.empty() || tools::reportFailure(kProgram, flaw);
}

bool isTrustedFile(const std::string &path) {
    const std::string flaw = path.empty() ? "" : nal::whyNoTrustedFile(path);
    return flaw.empty() || tools::reportFailure(kProgram, flaw);
}

// A boot state or a bank that others may change would decide what boots: it is not used.
bool areTrusted(const nal::BootPlace &place, const std::vector<std::string> &others = {}) {
    if (!isTrustedFile(place.file) || !isTrusted(place.fwEnvConfig) ||
        !std::all_of(others.begin(), others.end(), isTrusted)) {
        return false;
    }
    std::vector<nal::BootCopy> copies;
    std::string saidByWhoeverReadsThem;
    nal::bootCopies(place, copies, saidByWhoeverReadsThem);
    return std::all_of(copies.begin(), copies.end(),
                       [](const nal::BootCopy &copy) { return isTrusted(copy.path); });
}

int makeBootState(const tools::Options &options) {
    const std::string &active = options.at("--active");
    if (active != "a" && active != "b") {
        return tools::reportUse(kProgram, "--active is " + active + ", expected a or b");
    }
    nal::BootState state;
    std::string whatIsWrong;
    state.active = active == "b" ? nal::Bank::b : nal::Bank::a;
    state.next = state.active;
    if (!areTrusted(placeOf(options.at("--output")))) {
        return tools::kNotTrusted;
    }
    if (!nal::recordOfImage(options.at("--image"), state.of(state.active), whatIsWrong) ||
        !nal::makeBootState(placeOf(options.at("--output")), state, whatIsWrong)) {
        tools::reportFailure(kProgram, whatIsWrong);
        return 1;
    }
    return 0;
}

// The exit code says whether the chosen bank booted at once, with nothing to say.
int bootByState(const tools::Options &options) {
    const nal::BootWay way{placeOf(options.at("--state")),
                           {options.at("--a"), options.at("--b")},
                           options.at("--command-line")};
    if (!areTrusted(way.state, {way.bankPaths[0], way.bankPaths[1], way.commandLine})) {
        return tools::kNotTrusted;
    }
    nal::BootState state;
    std::vector<std::string> passedOver;
    std::string whatIsWrong;
    if (!nal::bootNode(way, state, passedOver, whatIsWrong)) {
        tools::reportFailure(kProgram, whatIsWrong);
        return 1;
    }
    std::printf("active=%s\n", nal::bankName(state.active));
    for (const std::string &line : passedOver) {
        tools::reportFailure(kProgram, line);
    }
    return passedOver.empty() ? 0 : kPassedOver;
}

int showBootState(const std::string &path) {
    if (!areTrusted(placeOf(path))) {
        return tools::kNotTrusted;
    }
    nal::BootState state;
    std::string whatIsWrong;
    nal::BootFindings findings;
    if (!nal::readBootState(placeOf(path), state, whatIsWrong, &findings)) {
        tools::reportFailure(kProgram, whatIsWrong);
        return 1;
    }
    std::printf("active=%s\nnext=%s\ntrial=%s\n", nal::bankName(state.active),
                nal::bankName(state.next), state.trial ? nal::bankName(*state.trial) : "none");
    for (const nal::Bank bank : {nal::Bank::a, nal::Bank::b}) {
        const nal::BankRecord &record = state.of(bank);
        std::printf("%s: whole=%d attempts=%d version=%s size=%" PRIu64 " sha256=%s\n",
                    nal::bankName(bank), record.whole ? 1 : 0, state.attemptsOf(bank),
                    record.version.c_str(), record.size, record.sha256.c_str());
    }
    for (const nal::FailedVersion &failed : state.failed) {
        std::printf("failed: %s trials=%d last=%s\n", failed.version.c_str(), failed.trials,
                    nal::trialFailureName(failed.last));
    }
    for (const std::string &damage : findings.damages) {
        tools::reportFailure(kProgram, damage);
    }
    return 0;
}

} // namespace

int main(int argc, char **argv) {
    if (tools::helpWasGiven(kProgram, argc, argv)) {
        return 0;
    }
    const std::string_view verb = argc > 1 ? argv[1] : "";
    if (verb == "show" && argc == 3) {
        return showBootState(argv[2]);
    }
    if (verb == "boot") {
        tools::Options options = {
            {"--a", ""}, {"--b", ""}, {"--state", ""}, {"--command-line", ""}};
        return tools::readOptions(kProgram, argc, argv, options, "--command-line")
                   ? bootByState(options)
                   : tools::kWrongUse;
    }
    if (verb != "init") {
        return tools::reportUse(kProgram, "give init, boot or show");
    }
    tools::Options options = {{"--active", ""}, {"--image", ""}, {"--output", ""}};
    return tools::readOptions(kProgram, argc, argv, options) ? makeBootState(options)
                                                             : tools::kWrongUse;
}
