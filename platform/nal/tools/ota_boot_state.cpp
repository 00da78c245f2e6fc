// SPDX-License-Identifier: MIT
// ota-boot-state: makes the first boot state of a node, boots by one as a boot loader does, shows
// one.
#include "platform/nal/boot.h"
#include "platform/nal/boot_state.h"
#include "platform/nal/image_stream.h"
#include "platform/nal/tools/command_line.h"

#include <cinttypes>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr int kPassedOver = 3;

const tools::Program kProgram = {
    "ota-boot-state", "ota-boot-state init --active a|b --image IMAGE-IN-THAT-BANK --output FILE, "
                      "or ota-boot-state boot --a BANK --b BANK --state FILE, "
                      "or ota-boot-state show FILE"};

int makeBootState(const tools::Options &options) {
    const std::string &active = options.at("--active");
    if (active != "a" && active != "b") {
        return tools::reportUse(kProgram, "--active is " + active + ", expected a or b");
    }
    nal::BootState state;
    std::string whatIsWrong;
    state.active = active == "b" ? nal::Bank::b : nal::Bank::a;
    state.next = state.active;
    if (!nal::recordOfImage(options.at("--image"), state.of(state.active), whatIsWrong) ||
        !nal::writeBootState(options.at("--output"), state, whatIsWrong)) {
        tools::reportFailure(kProgram, whatIsWrong);
        return 1;
    }
    return 0;
}

// The exit code says whether the chosen bank is the one that booted.
int bootByState(const tools::Options &options) {
    nal::BootState state;
    std::string passedOver;
    std::string whatIsWrong;
    if (!nal::bootNode(options.at("--state"), {options.at("--a"), options.at("--b")}, state,
                       passedOver, whatIsWrong)) {
        tools::reportFailure(kProgram, whatIsWrong);
        return 1;
    }
    std::printf("active=%s\n", nal::bankName(state.active));
    if (!passedOver.empty()) {
        tools::reportFailure(kProgram, passedOver);
        return kPassedOver;
    }
    return 0;
}

int showBootState(const std::string &path) {
    nal::BootState state;
    std::string whatIsWrong;
    if (!nal::readBootState(path, state, whatIsWrong)) {
        tools::reportFailure(kProgram, whatIsWrong);
        return 1;
    }
    std::printf("active=%s\nnext=%s\n", nal::bankName(state.active), nal::bankName(state.next));
    for (const nal::Bank bank : {nal::Bank::a, nal::Bank::b}) {
        const nal::BankRecord &record = state.of(bank);
        std::printf("%s: whole=%d version=%s size=%" PRIu64 " sha256=%s\n", nal::bankName(bank),
                    record.whole ? 1 : 0, record.version.c_str(), record.size,
                    record.sha256.c_str());
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
        tools::Options options = {{"--a", ""}, {"--b", ""}, {"--state", ""}};
        return tools::readOptions(kProgram, argc, argv, options) ? bootByState(options)
                                                                 : tools::kWrongUse;
    }
    if (verb != "init") {
        return tools::reportUse(kProgram, "give init, boot or show");
    }
    tools::Options options = {{"--active", ""}, {"--image", ""}, {"--output", ""}};
    return tools::readOptions(kProgram, argc, argv, options) ? makeBootState(options)
                                                             : tools::kWrongUse;
}
