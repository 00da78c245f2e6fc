// SPDX-License-Identifier: MIT
#include "report/process_memory.h"

#include <fstream>
#include <optional>
#include <sstream>

namespace report {
namespace {

constexpr std::uint64_t kKib = 1024;

// The name and two lines of /proc/PID/status, in KiB.
std::optional<ProcessMemory> oneOf(const std::string &process) {
    std::ifstream status("/proc/" + process + "/status");
    ProcessMemory memory;
    for (std::string line; std::getline(status, line);) {
        std::istringstream words(line);
        std::string key;
        words >> key;
        if (key == "Name:") {
            words >> memory.name;
        } else if (key == "VmRSS:") {
            words >> memory.residentBytes;
            memory.residentBytes *= kKib;
        } else if (key == "VmHWM:") {
            words >> memory.peakBytes;
            memory.peakBytes *= kKib;
        }
    }
    return memory.residentBytes == 0 ? std::nullopt : std::optional(memory);
}

} // namespace

std::vector<ProcessMemory> memoryOf(pid_t process) {
    std::vector<ProcessMemory> all;
    const std::string own = std::to_string(process);
    if (auto memory = oneOf(own)) {
        all.push_back(std::move(*memory));
    }
    std::ifstream children("/proc/" + own + "/task/" + own + "/children");
    for (std::string child; children >> child;) {
        if (auto memory = oneOf(child)) {
            all.push_back(std::move(*memory));
        }
    }
    return all;
}

} // namespace report
