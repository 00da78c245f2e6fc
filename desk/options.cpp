// SPDX-License-Identifier: MIT
// The command line of `ota-desk demo`.
#include "desk/options.h"

#include "base/command_line.h"

namespace desk {
namespace {

using base::flag;
using base::oneOf;
using base::text;
using Rows = std::vector<base::Parameter>;

// Where --help is is part of what is wrong here.
[[noreturn]] void refuse(const std::string &what) {
    throw OptionError(what + "; see ota-desk demo --help");
}

Rows nodeOptions(Options &options) {
    return {
        {"--policy", oneOf({{"0", 0}, {"1", 1}, {"2", 2}, {"3", 3}}, options.policy),
         "0 activate at the activation time, 1 at once (default), 2 write only, 3 activate on "
         "arrival what the passive bank holds"},
        {"--mode", oneOf({"RGW", "AP_Bridge"}, options.mode), "gateway (default) or mesh extender"},
        {"--role", text("ROLE", options.role),
         "the node's role; an AP_Bridge that is Controller acts as gateway"},
        {"--plain-http", flag(options.plainHttp),
         "serve the image over http, without certificates"}};
}

Rows roadOptions(Options &options) {
    return {{"--offload", flag(options.offload),
             "the node hands download and activation to the gateway"},
            {"--first-poll", flag(options.firstPoll),
             "a gateway's first poll: the download waits for the mobile app"},
            {"--power-cut", flag(options.powerCut),
             "the node loses power during the download, and takes it up again"},
            {"--cut-power", base::number("N", options.cutPowerAt, 1, INT64_MAX),
             "the node loses power at the N-th change of its storage, counted over its lives; "
             "what was not synced by then is gone"},
            // The three nodes have modes, roles and configurations of their own.
            {.name = "--mesh",
             .value = flag(options.mesh),
             .text = "a gateway and two extenders at once; the extenders' reports arrive at the "
                     "gateway, as the root; takes policy 0 or 1, and no mode, role or node-conf",
             .excludes = {"--mode", "--role", "--node-conf"}},
            {"--fail",
             oneOf({"checksum", "flash", "activate", "boot", "health", "server", "certificate",
                    "signature", "version", "disk"},
                   options.fail),
             "let this go wrong, and see what the agent makes of it"},
            {"--fast", flag(options.fast),
             "sleeps and retries pass at once, the server sends as fast as it can"}};
}

Rows runOptions(Options &options, std::int64_t &limit) {
    return {{"--build-dir", text("DIR", options.buildFolder),
             "where the project was built (default: where this program is)"},
            {"--run-dir", text("DIR", options.runFolder),
             "everything of this run goes here (default: BUILD/demo/ROAD): a folder that is new or "
             "empty; the next run in it empties it again"},
            {"--limit", base::number("SECONDS", limit, 1, 9999),
             "give up after so long (1 to 9999, default 120)"},
            {"--library", text("FILE", options.library),
             "the agent to run (default: the one of the build)"},
            {"--node-conf", text("FILE", options.nodeConfig),
             "configure the node with this file instead"}};
}

base::Command commandLine(Options &options, std::int64_t &limit) {
    base::Command demo{.name = "demo",
                       .summary = "Upgrades a node on this desk over the air, from the offer to "
                                  "the commit."};
    for (const Rows &rows :
         {nodeOptions(options), roadOptions(options), runOptions(options, limit)}) {
        demo.options.insert(demo.options.end(), rows.begin(), rows.end());
    }
    return {.name = "ota-desk", .summary = "A node on this desk.", .verbs = {demo}};
}

} // namespace

Options readOptions(const std::vector<std::string> &arguments) {
    Options options;
    std::int64_t limit = options.limit.count();
    const base::Command program = commandLine(options, limit);
    std::vector<std::string> words = {program.name, "demo"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const base::Parsed parsed = base::parse(program, words);
    options.help = parsed.help;
    if (!options.help && !parsed.wrong.empty()) {
        throw OptionError(base::withAdvice(parsed));
    }
    options.limit = std::chrono::seconds(limit);
    if (options.role.empty()) {
        options.role = options.mode == "RGW" ? "Controller" : "Agent";
    }
    // The node configuration is a line a key: a role of several lines would be several keys.
    if (options.role.find_first_of("\r\n;#") != std::string::npos || options.role.size() > 31) {
        refuse("--role takes at most 31 characters on one line, without ; and #");
    }
    return options;
}

std::string helpText(const std::string &combinations) {
    Options options;
    std::int64_t limit = 0;
    base::Command demo = commandLine(options, limit).verbs.front();
    demo.footer = "What does not go together:\n" + combinations +
                  "\nexit codes: 0 committed, and the running bank holds the image byte for byte;\n"
                  "            3 ended as it should, but not in a commit; 2 bad option;\n"
                  "            1 anything else\n";
    return base::helpText(demo, "ota-desk demo");
}

} // namespace desk
