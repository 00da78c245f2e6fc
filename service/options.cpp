// SPDX-License-Identifier: MIT
#include "service/options.h"

#include "base/command_line.h"
#include "base/file_io.h"
#include "base/outcome.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace service {
namespace {

constexpr const char *kBootIdFile = "/proc/sys/kernel/random/boot_id";
constexpr std::size_t kLongestBootId = 128;
constexpr std::int64_t kLongestHang = 3600; // seconds

std::string kernelBootId() {
    const auto text = base::readWholeFile(kBootIdFile, kLongestBootId);
    if (!text) {
        std::fprintf(stderr, "error: otad: %s; name this boot with --boot-id\n",
                     text.error().text.c_str());
        std::exit(base::rowOf(base::Outcome::failed).code);
    }
    return text->substr(0, text->find('\n'));
}

// The prefix may have been chosen after the build.
std::string fromHere(const char *path) {
    std::error_code error;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
    return (self.parent_path() / path).lexically_normal().string();
}

} // namespace

Options readOptions(int argc, char **argv) {
    Options options;
    options.config = OTA_DEFAULT_CONFIG;
    options.host = fromHere(OTA_HOST_FROM_HERE);
    options.library = fromHere(OTA_LIBRARY_FROM_HERE);
    const base::Command program = {
        .name = "otad",
        .summary = "Runs the upgrade agent of a node as a service on the bus.",
        .options = {{"--config", base::text("FILE", options.config), "the node's configuration"},
                    {"--host", base::text("FILE", options.host),
                     "the program that holds the agent's library"},
                    {"--library", base::text("FILE", options.library), "the agent's library"},
                    {"--bus", base::text("ADDRESS", options.bus),
                     "address of the bus (default: the system bus)"},
                    {"--boot-id", base::text("TEXT", options.bootId),
                     "names this boot of the node (default: the kernel's)"},
                    {"--syslog", base::flag(options.syslog),
                     "log to syslog, not to standard error"},
                    {"--watchdog",
                     base::wholeNumber("SECONDS", 0, kLongestHang,
                                       [&options](std::int64_t given) {
                                           options.watchdog = std::chrono::seconds(given);
                                       }),
                     "end where the service hangs so long (default: 0, never)"},
                    {"--check", base::flag(options.check), "check the configuration and end"}},
        .version = OTA_VERSION};
    base::parseOrExit(program, argc, argv);
    if (options.bootId.empty()) {
        options.bootId = kernelBootId();
    }
    return options;
}

} // namespace service
