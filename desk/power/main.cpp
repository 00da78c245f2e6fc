// SPDX-License-Identifier: MIT
// The program ota-power: a node's processes with a switch for their power.
#include "desk/failure.h"
#include "desk/power/tracer.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <utility>
#include <vector>

namespace {

constexpr int kFailed = 125;

std::vector<std::filesystem::path> realPaths(const std::vector<std::filesystem::path> &paths) {
    std::vector<std::filesystem::path> real;
    real.reserve(paths.size());
    for (const std::filesystem::path &path : paths) {
        real.push_back(std::filesystem::weakly_canonical(path));
    }
    return real;
}

int run(const power::Options &options) {
    power::Disk disk(options.disk, options.ram);
    power::Faults faults;
    faults.lying = realPaths(options.lying);
    faults.corrupted = realPaths(options.corrupted);
    power::Watch watch(disk, std::move(faults));
    power::Report report(options.countFile, options.journalFile);
    power::Tracer tracer(options, disk, watch, report);
    const int code = tracer.run();
    report.close();
    return code;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(power::readOptions(argc, argv));
    } catch (const std::exception &error) {
        std::fprintf(stderr, "ota-power: %s\n", error.what());
        return kFailed;
    }
}
