// SPDX-License-Identifier: MIT
#include "desk/power/options.h"

#include "base/command_line.h"

#include <cerrno>

namespace power {
namespace {

using base::Times;
using Rows = std::vector<base::Parameter>;

constexpr std::int64_t kMostCalls = 1'000'000'000;
constexpr const char *kAbout =
    "Runs a program and all that it starts as on a node of its own, and cuts the node's power at "
    "the N-th system call that changes the node's disk, or at the signal SIGPWR: everything ends at "
    "once, and the disk is taken to what was synced. Exit code: 75 after a cut, else that of the program, 128 and the "
    "signal's number where one ended it; 125 where ota-power itself failed.";

base::Value call(std::optional<std::uint64_t> &target) {
    return base::number("N", target, 1, kMostCalls);
}

Rows diskOptions(Options &options) {
    return {
        {"--disk", base::text("DIR", options.disk), "the folder that is the node's disk",
         Times::once},
        {"--ram", base::listed("DIR", options.ram),
         "a folder below it that is empty after a power cut", Times::any},
        {"--lie", base::listed("FILE", options.lying), "a file whose syncs succeed and do nothing",
         Times::any},
        {"--corrupt", base::listed("FILE", options.corrupted),
         "a file that stores one bit wrong in each write", Times::any},
        {"--count", base::text("FILE", options.countFile), "writes down how many calls there were"},
        {"--journal", base::text("FILE", options.journalFile),
         "writes down every call, a line each"},
        {"--losses", base::text("FILE", options.lossesFile),
         "writes down what a power cut took, a JSON object a line"}};
}

Rows cutOptions(Options &options) {
    return {{"--cut", call(options.cutAt), "cuts the power instead of the N-th call"},
            {.name = "--mode",
             .value = base::oneOf({{"drop", CutMode::drop}, {"tear", CutMode::tear}}, options.mode),
             .text = "drop: nothing survives that was not synced (default); tear: part of it "
                     "does, and part of the N-th call",
             .needs = {"--cut"}},
            {.name = "--seed",
             .value = base::number("S", options.seed, 0, INT64_MAX),
             .text = "which part: 0 all but the last sector of the write in flight (default), 1 "
                     "every name and no byte, any other number a part of its own",
             .needs = {"--cut"}}};
}

Rows faultOptions(Options &options) {
    return {{"--fail",
             base::oneOf({{"ENOSPC", ENOSPC}, {"EROFS", EROFS}, {"EIO", EIO}}, options.failWith),
             "calls fail with this error, see --at and --from"},
            {.name = "--at",
             .value = call(options.failAt),
             .text = "the N-th call does",
             .needs = {"--fail"},
             .excludes = {"--from"}},
            {.name = "--from",
             .value = call(options.failFrom),
             .text = "the N-th call and all behind it do that need what is missing: space "
                     "(ENOSPC), or a disk that can be written",
             .needs = {"--fail"},
             .excludes = {"--at"}},
            {"--faults", base::text("FILE", options.faultsFile),
             "faults that come and go: read again whenever another file takes its place; lines "
             "\"read-only\", \"lie FILE\", \"corrupt FILE\", \"cut N drop|tear NAME\", where N is "
             "counted from then on"}};
}

} // namespace

Options readOptions(int argc, char **argv) {
    Options options;
    base::Command program{.name = "ota-power",
                          .summary = kAbout,
                          .arguments = {{"PROGRAM", base::listed("TEXT", options.program),
                                         "what to run, behind \"--\"", Times::someAndRest}}};
    for (const Rows &rows : {diskOptions(options), cutOptions(options), faultOptions(options)}) {
        program.options.insert(program.options.end(), rows.begin(), rows.end());
    }
    base::parseOrExit(program, argc, argv);
    if (options.failWith != 0 && !options.failAt && !options.failFrom) {
        base::refuse(program, "--fail needs --at or --from");
    }
    return options;
}

} // namespace power
