// SPDX-License-Identifier: MIT
// The command line as a table of rows: name, values, meaning, and where the value goes.
#include "desk/options.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace desk {
namespace {

struct Row {
    std::string_view name;
    std::string_view values; // "a|b|c": one of these; upper case: any text; empty: a flag
    std::string_view meaning;
    void (*store)(Options &options, const std::string &value);
};

[[noreturn]] void refuse(const std::string &what) {
    throw OptionError(what + "; see ota-desk demo --help");
}

std::chrono::seconds secondsFrom(const std::string &text) {
    int seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error != std::errc() || end != text.data() + text.size() || seconds < 1 || seconds > 9999) {
        refuse("--limit \"" + text + "\" is not a number of seconds from 1 to 9999");
    }
    return std::chrono::seconds(seconds);
}

std::uint64_t callFrom(const std::string &text) {
    std::uint64_t call = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), call);
    if (error != std::errc() || end != text.data() + text.size() || call == 0) {
        refuse("--cut-power \"" + text + "\" is not a number from 1");
    }
    return call;
}

constexpr std::array kRows{
    Row{"--policy", "0|1|2|3",
        "0 activate at the activation time, 1 at once (default), 2 write only, "
        "3 activate on arrival what the passive bank holds",
        [](Options &options, const std::string &value) { options.policy = value[0] - '0'; }},
    Row{"--mode", "RGW|AP_Bridge", "gateway (default) or mesh extender",
        [](Options &options, const std::string &value) { options.mode = value; }},
    Row{"--role", "ROLE", "the node's role; an AP_Bridge that is Controller acts as gateway",
        [](Options &options, const std::string &value) { options.role = value; }},
    Row{"--plain-http", "", "serve the image over http, without certificates",
        [](Options &options, const std::string &) { options.plainHttp = true; }},
    Row{"--offload", "", "the node hands download and activation to the gateway",
        [](Options &options, const std::string &) { options.offload = true; }},
    Row{"--first-poll", "", "a gateway's first poll: the download waits for the mobile app",
        [](Options &options, const std::string &) { options.firstPoll = true; }},
    Row{"--power-cut", "", "the node loses power during the download, and takes it up again",
        [](Options &options, const std::string &) { options.powerCut = true; }},
    Row{"--cut-power", "N",
        "the node loses power at the N-th change of its storage, counted over its lives; "
        "what was not synced by then is gone",
        [](Options &options, const std::string &value) { options.cutPowerAt = callFrom(value); }},
    Row{"--mesh", "",
        "a gateway and two extenders at once; the extenders' reports arrive at the "
        "gateway, as the root; takes policy 0 or 1, and no mode, role or node-conf",
        [](Options &options, const std::string &) { options.mesh = true; }},
    Row{"--fail", "checksum|flash|activate|boot|health|server|certificate|signature|version|disk",
        "let this go wrong, and see what the agent makes of it",
        [](Options &options, const std::string &value) { options.fail = value; }},
    Row{"--fast", "", "sleeps and retries pass at once, the server sends as fast as it can",
        [](Options &options, const std::string &) { options.fast = true; }},
    Row{"--build-dir", "DIR", "where the project was built (default: where this program is)",
        [](Options &options, const std::string &value) { options.buildFolder = value; }},
    Row{"--run-dir", "DIR",
        "everything of this run goes here (default: BUILD/demo/ROAD): a folder "
        "that is new or empty; the next run in it empties it again",
        [](Options &options, const std::string &value) { options.runFolder = value; }},
    Row{"--limit", "SECONDS", "give up after so long (1 to 9999, default 120)",
        [](Options &options, const std::string &value) { options.limit = secondsFrom(value); }},
    Row{"--library", "FILE", "the agent to run (default: the one of the build)",
        [](Options &options, const std::string &value) { options.library = value; }},
    Row{"--node-conf", "FILE", "configure the node with this file instead",
        [](Options &options, const std::string &value) { options.nodeConfig = value; }},
    Row{"--help", "", "this text",
        [](Options &options, const std::string &) { options.help = true; }},
};

bool isChoice(std::string_view values) { return values.find('|') != std::string_view::npos; }

bool contains(std::string_view values, std::string_view value) {
    while (!values.empty()) {
        const std::size_t bar = values.find('|');
        if (values.substr(0, bar) == value) {
            return true;
        }
        values = bar == std::string_view::npos ? std::string_view{} : values.substr(bar + 1);
    }
    return false;
}

const Row &rowOf(const std::string &name) {
    const auto row = std::find_if(kRows.begin(), kRows.end(),
                                  [&](const Row &candidate) { return candidate.name == name; });
    if (row == kRows.end()) {
        refuse("unknown option \"" + name + "\"");
    }
    return *row;
}

std::string valueOf(const Row &row, const std::vector<std::string> &arguments, std::size_t &at) {
    const std::string name(row.name);
    const std::string values(row.values);
    if (at + 1 == arguments.size()) {
        refuse(name + " needs a value: " + values);
    }
    const std::string &value = arguments[++at];
    if (value.empty() || (isChoice(values) && !contains(values, value))) {
        refuse(name + " \"" + value + "\" is not a value it takes: " + values);
    }
    return value;
}

// The three nodes have modes, roles and configurations of their own.
void checkMesh(const std::vector<std::string> &arguments) {
    for (const char *name : {"--mode", "--role", "--node-conf"}) {
        if (std::find(arguments.begin(), arguments.end(), name) != arguments.end()) {
            refuse(std::string(name) + " and --mesh do not go together");
        }
    }
}

constexpr const char *kMargin = "                ";
constexpr std::size_t kHelpColumns = 80;

// Lines of the text, each broken behind one of `breaks`.
std::string indented(const std::string &first, const std::string &further, std::string_view text,
                     std::string_view breaks) {
    std::string lines;
    std::string margin = first;
    while (!text.empty()) {
        const std::size_t room = kHelpColumns - margin.size();
        const std::size_t end =
            text.size() <= room ? text.size() : text.substr(0, room).find_last_of(breaks) + 1;
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end);
        line.remove_suffix(line.ends_with(' ') ? 1 : 0);
        lines.append(margin).append(line).append("\n");
        margin = further;
    }
    return lines;
}

} // namespace

Options readOptions(const std::vector<std::string> &arguments) {
    Options options;
    for (std::size_t at = 0; at < arguments.size(); ++at) {
        const Row &row = rowOf(arguments[at]);
        row.store(options, row.values.empty() ? "" : valueOf(row, arguments, at));
    }
    if (options.mesh) {
        checkMesh(arguments);
    }
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
    std::string text =
        "usage: ota-desk demo [options]\n"
        "Upgrades a node on this desk over the air, from the offer to the commit.\n\n";
    for (const Row &row : kRows) {
        std::string names(row.name);
        if (!row.values.empty()) {
            names.append(" ").append(row.values);
        }
        text +=
            indented("  ", "         ", names, "|") + indented(kMargin, kMargin, row.meaning, " ");
    }
    text += "\nwhat does not go together:\n" + combinations;
    text += "\nexit codes: 0 committed, and the running bank holds the image byte for byte;\n"
            "            3 ended as it should, but not in a commit; 2 bad option;\n"
            "            1 anything else\n";
    return text;
}

} // namespace desk
