// SPDX-License-Identifier: MIT
// The command line of ota-power.
#include "desk/power/options.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <map>

namespace power {
namespace {

constexpr int kWrongUse = 2;
constexpr std::uint64_t kMostCalls = 1'000'000'000;
constexpr const char *kAbout =
    "Runs a program and all that it starts as on a node of its own, and cuts the node's power at\n"
    "the N-th system call that changes the node's disk: everything ends at once, and the disk is\n"
    "taken to what was synced. Exit code: 75 after a cut, else that of the program, 128 and the\n"
    "signal's number where one ended it; 125 where ota-power itself failed.";

const std::map<std::string, CutMode> kModes{{"drop", CutMode::drop}, {"tear", CutMode::tear}};
const std::map<std::string, int> kErrors{{"ENOSPC", ENOSPC}, {"EROFS", EROFS}, {"EIO", EIO}};

void declareDisk(CLI::App &app, Options &options) {
    app.add_option("--disk", options.disk, "the folder that is the node's disk")
        ->required()
        ->type_name("DIR");
    app.add_option("--ram", options.ram, "a folder below it that is empty after a power cut")
        ->type_name("DIR")
        ->allow_extra_args(false);
    app.add_option("--lie", options.lying, "a file whose syncs succeed and do nothing")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_option("--corrupt", options.corrupted, "a file that stores one bit wrong in each write")
        ->type_name("FILE")
        ->allow_extra_args(false);
    app.add_option("--count", options.countFile, "writes down how many calls there were")
        ->type_name("FILE");
    app.add_option("--journal", options.journalFile, "writes down every call, a line each")
        ->type_name("FILE");
}

void declareCut(CLI::App &app, Options &options) {
    CLI::Option *const cut =
        app.add_option("--cut", options.cutAt, "cuts the power instead of the N-th call")
            ->type_name("N")
            ->check(CLI::Range(std::uint64_t{1}, kMostCalls));
    app.add_option("--mode", options.mode,
                   "drop: nothing survives that was not synced (default);\n"
                   "tear: part of it does, and part of the N-th call")
        ->needs(cut)
        ->transform(CLI::CheckedTransformer(kModes))
        ->type_name("drop|tear");
    app.add_option("--seed", options.seed,
                   "which part: 0 all but the last sector of the write in flight (default),\n"
                   "1 every name and no byte, any other number a part of its own")
        ->needs(cut)
        ->type_name("S");
}

void declareFaults(CLI::App &app, Options &options) {
    CLI::Option *const fail = app.add_option("--fail", options.failWith,
                                             "calls fail with this error, see --at and --from")
                                  ->transform(CLI::CheckedTransformer(kErrors))
                                  ->type_name("ENOSPC|EROFS|EIO");
    CLI::Option *const at = app.add_option("--at", options.failAt, "the N-th call does")
                                ->needs(fail)
                                ->type_name("N")
                                ->check(CLI::Range(std::uint64_t{1}, kMostCalls));
    app.add_option("--from", options.failFrom,
                   "the N-th call and all behind it do that need what is missing: space\n"
                   "(ENOSPC), or a disk that can be written")
        ->needs(fail)
        ->excludes(at)
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, kMostCalls));
}

[[noreturn]] void refuse(const std::string &what) {
    std::fprintf(stderr, "ota-power: %s; see ota-power --help\n", what.c_str());
    std::exit(kWrongUse);
}

} // namespace

Options readOptions(int argc, char **argv) {
    Options options;
    CLI::App app(kAbout, "ota-power");
    declareDisk(app, options);
    declareCut(app, options);
    declareFaults(app, options);
    app.add_option("PROGRAM", options.program, "what to run, behind \"--\"")->required();
    app.positionals_at_end();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() == 0) {
            std::exit(app.exit(error));
        }
        refuse(error.what());
    }
    if (options.failWith != 0 && !options.failAt && !options.failFrom) {
        refuse("--fail needs --at or --from");
    }
    return options;
}

} // namespace power
